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

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(DataLinkDialog::Kind)

// The connection dialog: the string each engine's fields give, quoting that the
// connection string reader takes back, the fields each engine enables, and its
// Test, OK and Cancel buttons.
class TestDataLinkDialog : public QObject
{
    Q_OBJECT

    template <typename T = QWidget> static T* field(QWidget* dialog, const char* name)
    {
        T* found = dialog->findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no control %s", name);
        return found;
    }
    static void fill(QWidget* dialog, const char* name, const QString& text) { field<QLineEdit>(dialog, name)->setText(text); }
    static void click(QWidget* dialog, const char* name) { field<QPushButton>(dialog, name)->click(); }

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
                                       << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;User ID=\"o'neil\";Password=\"a;b\"\"c\";";
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
        int i = 0;
        for (const char* name : {"txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase", "txtFile"})
            fill(&dialog, name, fields[i++]);
        QCOMPARE(dialog.connectionString(), expected);

        // OK gives the same string; the reader takes every value back unchanged.
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { click(shown, "cmdOK"); });
        QCOMPARE(dialog.promptNew(), expected);
        const ConnectionString parts = ConnectionString::parse(expected);
        if (kind == DataLinkDialog::Kind::PostgreSql) {
            QCOMPARE(parts.value(u"user id"_s), fields[2]);
            QCOMPARE(parts.value(u"password"_s), fields[3]);
        }
    }

    void enablesTheFieldsOfTheChosenEngineOnly()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const auto enabled = [&dialog] {
            QStringList names;
            for (const char* name : {"optIntegrated", "optUserPassword", "txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase",
                                     "txtFile", "cmdBrowse"})
                if (field(&dialog, name)->isEnabled())
                    names << QLatin1String(name);
            return names.join(u' ');
        };
        // Integrated security exists on Windows alone; elsewhere the log-on is a user name.
        const QString server = u"optUserPassword txtServer txtPort txtUserName txtPassword txtDatabase"_s;
        field<QRadioButton>(&dialog, "optIntegrated")->setChecked(true);
        QCOMPARE(enabled(), HasIntegratedSecurity ? u"optIntegrated optUserPassword txtServer txtPort txtDatabase"_s : server);
        field<QRadioButton>(&dialog, "optUserPassword")->setChecked(true);
        QCOMPARE(enabled(), HasIntegratedSecurity ? u"optIntegrated "_s + server : server);
        // PostgreSQL has no integrated security; choosing it moves the log-on to a user name.
        field<QRadioButton>(&dialog, "optIntegrated")->setChecked(true);
        field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(1);
        QVERIFY(field<QRadioButton>(&dialog, "optUserPassword")->isChecked());
        QCOMPARE(enabled(), server);
        for (int fileKind : {2, 3}) {
            field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(fileKind);
            QCOMPARE(enabled(), u"txtFile cmdBrowse"_s);
        }
    }

    void testOkAndCancelButtons()
    {
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        const QString file = env.path(u"accounts.db"_s);
        QVERIFY(embedded::writeEmbeddedFile(embedded::TemplateDatabase, file));
        env.prompter.onModal(u"frmDataLink"_s, [&](QWidget* shown) {
            field<QComboBox>(shown, "cboProvider")->setCurrentIndex(2);
            // OK without a file is refused, and the dialog stays open.
            env.prompter.answerMessage(prompt::Answer::Ok, u"Please select the database file."_s);
            click(shown, "cmdOK");
            QVERIFY(shown->isVisible());
            env.prompter.answerFile(file).answerMessage(prompt::Answer::Ok, u"Test connection succeeded."_s);
            click(shown, "cmdBrowse");
            click(shown, "cmdTest");
            fill(shown, "txtFile", env.path(u"missing.db"_s));
            env.prompter.answerMessage(prompt::Answer::Ok, u"does not exist"_s);
            click(shown, "cmdTest");
            fill(shown, "txtFile", file);
            click(shown, "cmdOK");
        });
        QCOMPARE(dialog.promptNew(), u"Provider=SQLite;Data Source="_s + file);
        const auto messages = env.prompter.messages();
        QCOMPARE(messages.size(), 3);
        QCOMPARE(messages[1].icon, prompt::Icon::Information);
        QCOMPARE(messages[2].icon, prompt::Icon::Exclamation);
        QVERIFY(messages[2].text.startsWith(u"Test connection failed:\r\n\r\n"_s));
        QCOMPARE(env.prompter.records()[2].caption, u"Select Database File"_s);

        // Cancel, and Escape, give empty text even with every field filled.
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { click(shown, "cmdCancel"); });
        QCOMPARE(dialog.promptNew(), QString());
        env.prompter.onModal(u"frmDataLink"_s, [](QWidget* shown) { QTest::keyClick(shown, Qt::Key_Escape); });
        QCOMPARE(dialog.promptNew(), QString());
        QCOMPARE(env.prompter.unusedSteps(), 0);
    }
};

QUILLMERE_TEST(TestDataLinkDialog)
#include "TestDataLinkDialog.moc"
