#include "TestEnvironment.h"
#include "TestMain.h"

#include "db/ConnectionString.h"
#include "server/DataLinkDialog.h"
#include "db/Engine.h"
#include "services/EmbeddedFiles.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

Q_DECLARE_METATYPE(DataLinkDialog::Kind)

// The connection dialog: the string each engine's fields give, quoting that the
// connection string reader takes back, the fields each engine enables, and its
// Test, OK and Cancel buttons.
class TestDataLinkDialog : public QObject
{
    Q_OBJECT

    template <typename T> static T* field(QWidget* dialog, const char* name)
    {
        T* found = dialog->findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no control %s", name);
        return found;
    }

    static void fill(QWidget* dialog, const char* name, const QString& text)
    {
        field<QLineEdit>(dialog, name)->setText(text);
    }

private slots:
    // Fields: server, port, user name, password, database, file.
    void buildsTheStringOfEachEngine_data()
    {
        QTest::addColumn<DataLinkDialog::Kind>("kind");
        QTest::addColumn<bool>("integrated");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("expected");
        using K = DataLinkDialog::Kind;
        QTest::newRow("sql server, user") << K::SqlServer << false << QStringList{"host", "1433", "u", "p", "db", ""}
                                          << "Provider=SQLOLEDB.1;Data Source=host,1433;Initial Catalog=db;User ID=u;Password=p;";
        if (HasIntegratedSecurity)
            QTest::newRow("sql server, integrated")
                << K::SqlServer << true << QStringList{"host", "", "ignored", "ignored", "db", ""}
                << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Data Source=host;Initial Catalog=db;";
        else // Integrated security cannot be chosen where it does not exist.
            QTest::newRow("sql server, integrated clicked") << K::SqlServer << true << QStringList{"host", "", "u", "p", "db", ""}
                                                            << "Provider=SQLOLEDB.1;Data Source=host;Initial Catalog=db;User ID=u;Password=p;";
        QTest::newRow("postgresql") << K::PostgreSql << false << QStringList{"host", "5432", "u", "p", "db", ""}
                                    << "Provider=PostgreSQL;Data Source=host;Port=5432;Initial Catalog=db;User ID=u;Password=p;";
        QTest::newRow("postgresql, libpq defaults") << K::PostgreSql << false << QStringList{"host", "", "", "", "db", ""}
                                                    << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;";
        QTest::newRow("sqlite") << K::SqliteFile << false << QStringList{"ignored", "", "", "", "", "/srv/a.db"}
                                << "Provider=SQLite;Data Source=/srv/a.db";
        QTest::newRow("access") << K::AccessFile << false << QStringList{"", "", "", "", "", "/srv/servu.mdb"}
                                << "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/srv/servu.mdb;Persist Security Info=False";
        QTest::newRow("quoted values") << K::PostgreSql << false << QStringList{"host", "", "o'neil", "a;b\"c", "db", ""}
                                       << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;User ID=\"o'neil\";"
                                          "Password=\"a;b\"\"c\";";
    }
    void buildsTheStringOfEachEngine()
    {
        QFETCH(DataLinkDialog::Kind, kind);
        QFETCH(bool, integrated);
        QFETCH(QStringList, fields);
        QFETCH(QString, expected);
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        dialog.setKind(kind);
        field<QRadioButton>(&dialog, integrated ? "optIntegrated" : "optUserPassword")->setChecked(true);
        const char* names[] = {"txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase", "txtFile"};
        for (int i = 0; i < 6; ++i)
            fill(&dialog, names[i], fields[i]);
        QCOMPARE(dialog.connectionString(), expected);

        // OK gives the same string; the reader takes every value back unchanged.
        env.prompter.onModal(QStringLiteral("frmDataLink"), [](QWidget* shown) { field<QPushButton>(shown, "cmdOK")->click(); });
        QCOMPARE(dialog.promptNew(), expected);
        const ConnectionString parts = ConnectionString::parse(expected);
        if (kind == DataLinkDialog::Kind::PostgreSql) {
            QCOMPARE(parts.value(QStringLiteral("user id")), fields[2]);
            QCOMPARE(parts.value(QStringLiteral("password")), fields[3]);
        }
    }

    void enablesTheFieldsOfTheChosenEngineOnly()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const auto enabled = [&](const char* name) { return dialog.findChild<QWidget*>(QLatin1String(name))->isEnabled(); };
        field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(0);
        field<QRadioButton>(&dialog, "optIntegrated")->setChecked(true);
        QVERIFY(enabled("txtServer") && enabled("txtPort") && enabled("txtDatabase"));
        QVERIFY(!enabled("txtFile") && !enabled("cmdBrowse"));
        // Integrated security exists on Windows alone; elsewhere the log-on is a user name.
        QCOMPARE(enabled("optIntegrated"), HasIntegratedSecurity);
        QCOMPARE(enabled("txtUserName") && enabled("txtPassword"), !HasIntegratedSecurity);
        field<QRadioButton>(&dialog, "optUserPassword")->setChecked(true);
        QVERIFY(enabled("txtUserName") && enabled("txtPassword"));

        // PostgreSQL has no integrated security; choosing it moves the log-on to a user name.
        field<QRadioButton>(&dialog, "optIntegrated")->setChecked(true);
        field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(1);
        QVERIFY(!enabled("optIntegrated"));
        QVERIFY(field<QRadioButton>(&dialog, "optUserPassword")->isChecked());
        QVERIFY(enabled("txtUserName") && enabled("txtServer"));

        for (int fileKind : {2, 3}) {
            field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(fileKind);
            QVERIFY(enabled("txtFile") && enabled("cmdBrowse"));
            QVERIFY(!enabled("txtServer") && !enabled("txtPort") && !enabled("txtUserName") && !enabled("txtDatabase"));
        }
    }

    void testOkAndCancelButtons()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const QString file = env.path(QStringLiteral("accounts.db"));
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, file));
        env.prompter.onModal(QStringLiteral("frmDataLink"), [&](QWidget* shown) {
            field<QComboBox>(shown, "cboProvider")->setCurrentIndex(2);
            // OK without a file is refused, and the dialog stays open.
            env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Please select the database file."));
            field<QPushButton>(shown, "cmdOK")->click();
            QVERIFY(shown->isVisible());
            env.prompter.answerFile(file);
            field<QPushButton>(shown, "cmdBrowse")->click();
            env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("Test connection succeeded."));
            field<QPushButton>(shown, "cmdTest")->click();
            fill(shown, "txtFile", env.path(QStringLiteral("missing.db")));
            env.prompter.answerMessage(prompt::Answer::Ok, QStringLiteral("does not exist"));
            field<QPushButton>(shown, "cmdTest")->click();
            fill(shown, "txtFile", file);
            field<QPushButton>(shown, "cmdOK")->click();
        });
        QCOMPARE(dialog.promptNew(), QStringLiteral("Provider=SQLite;Data Source=") + file);
        const auto messages = env.prompter.messages();
        QCOMPARE(messages.size(), 3);
        QCOMPARE(messages[1].icon, prompt::Icon::Information);
        QCOMPARE(messages[2].icon, prompt::Icon::Exclamation);
        QVERIFY(messages[2].text.startsWith(QStringLiteral("Test connection failed:\r\n\r\n")));
        QCOMPARE(env.prompter.records()[2].caption, QStringLiteral("Select Database File"));

        // Cancel, and Escape, give empty text even with every field filled.
        env.prompter.onModal(QStringLiteral("frmDataLink"), [](QWidget* shown) { field<QPushButton>(shown, "cmdCancel")->click(); });
        QCOMPARE(dialog.promptNew(), QString());
        env.prompter.onModal(QStringLiteral("frmDataLink"), [](QWidget* shown) { QTest::keyClick(shown, Qt::Key_Escape); });
        QCOMPARE(dialog.promptNew(), QString());
        QCOMPARE(env.prompter.unusedSteps(), 0);
    }
};

QUILLMERE_TEST(TestDataLinkDialog)
#include "TestDataLinkDialog.moc"
