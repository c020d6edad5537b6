#include "TestMain.h"

#include "server/ServerIni.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// Registering the plug-in in the server's INI file, edited as bytes.
class TestServerIni : public QObject
{
    Q_OBJECT

private slots:
    void withoutTheSectionItGoesOnTop()
    {
        const QByteArray old("[GLOBAL]\r\nVersion=6.4\r\nMotd=caf\xe9\r\n");
        const auto edit = serverini::registerPlugin(old);
        QCOMPARE(edit.change, serverini::Change::AddedSection);
        QCOMPARE(edit.text, QByteArray("[EXTERNAL]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n") + old + "\r\n");
    }

    void theLineGoesBelowEveryHeader()
    {
        const QByteArray old("[GLOBAL]\r\n  [external]  \r\nClientCheckDLL1=Other.dll\r\nKey=\xff\xfe\r\n[External]");
        const auto edit = serverini::registerPlugin(old);
        QCOMPARE(edit.change, serverini::Change::AddedLine);
        QCOMPARE(edit.text, QByteArray("[GLOBAL]\r\n  [external]  \r\nClientCheckDLL1=Gatewick.dll\r\nClientCheckDLL1=Other.dll\r\n"
                                       "Key=\xff\xfe\r\n[External]\r\nClientCheckDLL1=Gatewick.dll\r\n\r\n"));
    }

    void aFileThatNamesThePluginStaysAsItIs()
    {
        for (const char* content : {"[EXTERNAL]\r\nclientcheckdll1=GATEWICK.DLL\r\n", "[EXTERNAL]\r\n; gatewick.dll was here\r\n"}) {
            const auto edit = serverini::registerPlugin(content);
            QCOMPARE(edit.change, serverini::Change::AlreadyRegistered);
            QVERIFY(edit.text.isEmpty());
        }
    }

    void otherLineEndsMakeOneLine()
    {
        // With line feeds alone the file is one line, so no line is the section header.
        const QByteArray old("[EXTERNAL]\nClientCheckDLL1=Other.dll\n");
        const auto edit = serverini::registerPlugin(old);
        QCOMPARE(edit.change, serverini::Change::AddedSection);
        QVERIFY(edit.text.endsWith(old + "\r\n"));
        QCOMPARE(serverini::registerPlugin(QByteArray()).change, serverini::Change::AddedSection);
    }

    void filesAreFoundInAnyCase()
    {
        QTemporaryDir dir;
        QVERIFY(serverini::findIniFiles(dir.path()).servU.isEmpty());
        for (const char* name : {"SERV-U.INI", "servudaemon.ini", "other.ini"}) {
            QFile file(dir.filePath(QLatin1String(name)));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        const auto found = serverini::findIniFiles(dir.path());
        QCOMPARE(found.servU, dir.filePath(QStringLiteral("SERV-U.INI")));
        QCOMPARE(found.daemon, dir.filePath(QStringLiteral("servudaemon.ini")));
    }

    void replacingAFileNamesItWhenItFails()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("ServUDaemon.ini"));
        QVERIFY(serverini::replaceFile(path, "new\r\n").isEmpty());
        QByteArray read;
        QVERIFY(serverini::readFile(path, &read).isEmpty());
        QCOMPARE(read, QByteArray("new\r\n"));
        const QString missing = dir.filePath(QStringLiteral("no/such/folder/serv-u.ini"));
        QVERIFY(serverini::readFile(missing, &read).contains(missing));
        QVERIFY(serverini::replaceFile(missing, "x").contains(missing));
    }
};

QUILLMERE_TEST(TestServerIni)
#include "TestServerIni.moc"
