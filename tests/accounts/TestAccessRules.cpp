#include "TestMain.h"

#include "accounts/AccessRules.h"

#include <QTest>

// The rights letters and the entry text the user page edits.
class TestAccessRules : public QObject
{
    Q_OBJECT

private slots:
    void lettersBothWays()
    {
        QCOMPARE(accessrules::rightsLetters(accessrules::readRights(QStringLiteral("rwl"))), QStringLiteral("RWL"));
        QCOMPARE(accessrules::rightsLetters(accessrules::readRights(QStringLiteral("MCD"))), QStringLiteral("MCD"));
        QCOMPARE(accessrules::rightsLetters(accessrules::readRights(QStringLiteral("dclemawr xyz r"))), QStringLiteral("RWAMELCD"));
        accessrules::Rights rmc;
        rmc.read = rmc.remove = rmc.make = true;
        QCOMPARE(accessrules::rightsLetters(rmc), QStringLiteral("RMC"));
        QCOMPARE(accessrules::rightsLetters({}), QString());
        QVERIFY(accessrules::readInherit(QStringLiteral(" 1 ")));
        for (const char* notSet : {"0", "", "2", "11", "1x"})
            QVERIFY2(!accessrules::readInherit(QLatin1String(notSet)), notSet);
    }

    void editingTheList()
    {
        const QString list = QStringLiteral("bob|c:\\ftp|RL|1\u00A7\u00A7bob|c:\\ftp\\sub|R|0\u00A7bob|C:\\FTP|W|0");
        QCOMPARE(accessrules::entries(list).size(), 3);
        // Only entries whose path equals the edited one, in any case, change.
        QCOMPARE(accessrules::replaceDirectory(list, QStringLiteral("c:\\ftp"), QStringLiteral("d:\\new")),
                 QStringLiteral("bob|d:\\new|RL|1\u00A7\u00A7bob|c:\\ftp\\sub|R|0\u00A7bob|d:\\new|W|0"));
        // Deleting compares exactly and keeps the emptied entry in place.
        QCOMPARE(accessrules::removeDirectory(list, QStringLiteral("c:\\ftp")),
                 QStringLiteral("bob||RL|1\u00A7\u00A7bob|c:\\ftp\\sub|R|0\u00A7bob|C:\\FTP|W|0"));
        QCOMPARE(accessrules::renameUser(list, QStringLiteral("alice")),
                 QStringLiteral("alice|c:\\ftp|RL|1\u00A7\u00A7alice|c:\\ftp\\sub|R|0\u00A7alice|C:\\FTP|W|0"));
        QCOMPARE(accessrules::appendEntry(QString(), {QStringLiteral("bob"), QStringLiteral("c:\\x"), QStringLiteral("RL"), QStringLiteral("1")}),
                 QStringLiteral("\u00A7bob|c:\\x|RL|1"));
        QCOMPARE(accessrules::parseEntry(QStringLiteral("bob|c:\\x")).rights, QString());
    }
};

QUILLMERE_TEST(TestAccessRules)
#include "TestAccessRules.moc"
