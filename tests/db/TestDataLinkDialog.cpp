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

// The connection dialog: the fields each engine enables, the string they give, quoting
// that the connection string reader takes back, and its Test, OK and Cancel buttons.
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
    // The log-on is chosen first, then the engine; fields: server, port, user name, password, database, file.
    void fieldsAndStringOfEachEngine_data()
    {
        QTest::addColumn<DataLinkDialog::Kind>("kind");
        QTest::addColumn<bool>("integrated");
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("enabled");
        QTest::addColumn<QString>("expected");
        using K = DataLinkDialog::Kind;
        const QString server = u"optUserPassword txtServer txtPort txtUserName txtPassword txtDatabase"_s;
        QTest::newRow("sql server, user") << K::SqlServer << false << QStringList{"host", "1433", "u", "p", "db", ""} << server
                                          << "Provider=SQLOLEDB.1;Data Source=host,1433;Initial Catalog=db;User ID=u;Password=p;";
        if (HasIntegratedSecurity)
            QTest::newRow("sql server, integrated")
                << K::SqlServer << true << QStringList{"host", "", "ignored", "ignored", "db", ""} << "optUserPassword txtServer txtPort txtDatabase"
                << "Provider=SQLOLEDB.1;Integrated Security=SSPI;Persist Security Info=False;Data Source=host;Initial Catalog=db;";
        else // Integrated security cannot be chosen where it does not exist.
            QTest::newRow("sql server, integrated clicked") << K::SqlServer << true << QStringList{"host", "", "u", "p", "db", ""} << server
                                                            << "Provider=SQLOLEDB.1;Data Source=host;Initial Catalog=db;User ID=u;Password=p;";
        // PostgreSQL has no integrated security; choosing it moves the log-on to a user name.
        QTest::newRow("postgresql, integrated before") << K::PostgreSql << true << QStringList{"host", "5432", "u", "p", "db", ""} << server
                                                       << "Provider=PostgreSQL;Data Source=host;Port=5432;Initial Catalog=db;User ID=u;Password=p;";
        QTest::newRow("postgresql, libpq defaults") << K::PostgreSql << false << QStringList{"host", "", "", "", "db", ""} << server
                                                    << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;";
        QTest::newRow("sqlite") << K::SqliteFile << false << QStringList{"ignored", "", "", "", "", "/srv/a.db"} << "txtFile cmdBrowse"
                                << "Provider=SQLite;Data Source=/srv/a.db";
        QTest::newRow("access") << K::AccessFile << false << QStringList{"", "", "", "", "", "/srv/servu.mdb"} << "txtFile cmdBrowse"
                                << "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/srv/servu.mdb;Persist Security Info=False";
        QTest::newRow("quoted values") << K::PostgreSql << false << QStringList{"host", "", "o'neil", "a;b\"c", "db", ""} << server
                                       << "Provider=PostgreSQL;Data Source=host;Initial Catalog=db;User ID=\"o'neil\";Password=\"a;b\"\"c\";";
    }
    void fieldsAndStringOfEachEngine()
    {
        QFETCH(DataLinkDialog::Kind, kind);
        QFETCH(bool, integrated);
        QFETCH(QStringList, fields);
        QFETCH(QString, enabled);
        QFETCH(QString, expected);
        TestEnvironment env;
        DataLinkDialog dialog(env.context);
        field<QRadioButton>(&dialog, integrated ? "optIntegrated" : "optUserPassword")->setChecked(true);
        field<QComboBox>(&dialog, "cboProvider")->setCurrentIndex(int(kind));
        QStringList names;
        for (const char* name : {"optIntegrated", "optUserPassword", "txtServer", "txtPort", "txtUserName", "txtPassword", "txtDatabase",
                                 "txtFile", "cmdBrowse"})
            if (field(&dialog, name)->isEnabled())
                names << QLatin1String(name);
        QCOMPARE(names.join(u' '), (HasIntegratedSecurity && kind == DataLinkDialog::Kind::SqlServer ? u"optIntegrated "_s : QString()) + enabled);
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
            env.prompter.answerMessage(prompt::Answer::Ok, u"Test connection failed:\r\n\r\nThe database file"_s);
            click(shown, "cmdTest");
            fill(shown, "txtFile", file);
            click(shown, "cmdOK");
        });
        QCOMPARE(dialog.promptNew(), u"Provider=SQLite;Data Source="_s + file);

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
