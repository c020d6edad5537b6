#include "TestMain.h"

#include "accounts/AccessRules.h"
#include "accounts/AccountNames.h"

#include <QTest>

// The rights letters and the entry text the user page edits.
class TestAccessRules : public QObject
{
    Q_OBJECT

private slots:
    void lettersBothWays()
    {
        const auto letters = [](const char* text) { return accessrules::rightsLetters(accessrules::readRights(QLatin1String(text))); };
        QCOMPARE(QStringList({letters("rwl"), letters("MCD"), letters("dclemawr xyz r"), letters("")}), QStringList({"RWL", "MCD", "RWAMELCD", ""}));
        accessrules::Rights rmc;
        rmc.read = rmc.remove = rmc.make = true;
        QCOMPARE(accessrules::rightsLetters(rmc), QStringLiteral("RMC"));
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
        // POSIX paths differing in case are different folders: only the exact one changes.
        QCOMPARE(accessrules::replaceDirectory(QStringLiteral("bob|/srv/Pub|R|0\u00A7bob|/srv/pub|W|0"), QStringLiteral("/srv/Pub"),
                                               QStringLiteral("/srv/New")),
                 QStringLiteral("bob|/srv/New|R|0\u00A7bob|/srv/pub|W|0"));
        // Deleting compares exactly and keeps the emptied entry in place.
        QCOMPARE(accessrules::removeDirectory(list, QStringLiteral("c:\\ftp")),
                 QStringLiteral("bob||RL|1\u00A7\u00A7bob|c:\\ftp\\sub|R|0\u00A7bob|C:\\FTP|W|0"));
        QCOMPARE(accessrules::renameUser(list, QStringLiteral("alice")),
                 QStringLiteral("alice|c:\\ftp|RL|1\u00A7\u00A7alice|c:\\ftp\\sub|R|0\u00A7alice|C:\\FTP|W|0"));
        QCOMPARE(accessrules::appendEntry(QString(), {QStringLiteral("bob"), QStringLiteral("c:\\x"), QStringLiteral("RL"), QStringLiteral("1")}),
                 QStringLiteral("\u00A7bob|c:\\x|RL|1"));
        QCOMPARE(accessrules::parseEntry(QStringLiteral("bob|c:\\x")).rights, QString());
    }

    // Fields that hold the separators themselves, as other tools write them, go
    // through the list unchanged; names holding them, or "*" alone, are refused.
    void anyTextSurvivesTheList()
    {
        const accessrules::Entry odd{QStringLiteral("a|b\u00A7c"), QStringLiteral("c:\\50% off|x\u00A7y %7C"), QStringLiteral("RL"),
                                     QStringLiteral("1")};
        const QString list = accessrules::appendEntry(QStringLiteral("bob|c:\\ftp|R|0"), odd);
        QCOMPARE(list.count(accessrules::Separator), 1);
        const QList<accessrules::Entry> read = accessrules::entries(list);
        QCOMPARE(QStringList({read.value(1).user, read.value(1).directory}), QStringList({odd.user, odd.directory}));
        QCOMPARE(accessrules::entries(accessrules::removeDirectory(list, odd.directory))[1].directory, QString());
        QCOMPARE(accessrules::entries(accessrules::renameUser(list, QStringLiteral("x|y")))[0].user, QStringLiteral("x|y"));
        QVERIFY(accounts::newNameProblem(QStringLiteral("a|b")) && accounts::newNameProblem(QStringLiteral(" * ")));
        QVERIFY(!accounts::newNameProblem(QStringLiteral("*bob")));
    }
};

QUILLMERE_TEST(TestAccessRules)
#include "TestAccessRules.moc"
