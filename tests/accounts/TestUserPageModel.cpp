#include "AccountsFixture.h"
#include "TestMain.h"

#include "app/AppWindows.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <functional>
#include <random>

// A seeded random walk over the user page and its dialogs, checked after every step
// against a small model of what the database must hold. QUILLMERE_MODEL_SEED picks the
// walk and QUILLMERE_MODEL_STEPS its length on each engine; a failure names both and
// shows the last steps, so that the same walk can be run again.
namespace {

using F = AccountsFixture;
using prompt::Answer;
using Changes = QList<std::pair<int, QString>>;

const QString Placeholder = QStringLiteral("[Click Here to Change]");
// The rights check boxes and their letters, "I" for Inherit.
const QString Letters = QStringLiteral("RWAMELCDI");
const char* const Boxes[] = {"chkRead", "chkWrite", "chkAppend", "chkDelete", "chkExecute", "chkList", "chkMake", "chkRemove", "chkInherit"};
const QString InUse = QStringLiteral("That username is already in use.");
const QString DatabaseError = QStringLiteral("The database specified may have incorrect tables");

// The columns of users the model follows, after the name. A NULL reads as what the
// dialogs show for it, since an OK that changes nothing writes that back.
const char* const Columns =
    "homedir, password, coalesce(comments, '<null>'), coalesce(disable_user, 0), coalesce(rel_path, 0), "
    "coalesce(hide_hidden_files, 0), coalesce(always_login, 0), coalesce(one_login_per_ip, 0), max_logins_per_ip, "
    "coalesce(speed_limit_value, '0'), coalesce(timeout, 0), coalesce(session_timeout, 0), max_concurrent, "
    "coalesce(login_msg_file, ''), coalesce(Expires, ''), coalesce(DisableOn, ''), coalesce(ratio_type, ''), coalesce(ratio_up, 0), "
    "coalesce(ratio_down, 0), cast(coalesce(ratio_current_credit, 0) as bigint), coalesce(use_quota, 0), cast(coalesce(quota_max, 0) as bigint)";
enum Column { Home, Password, Notes, Disabled, OneLogin = 7, MaxLogins, RatioType = 16, RatioUp, Credit = 19, UseQuota, QuotaMax, ColumnCount };

struct Entry { QString dir, rights, inherit; };

// What the database holds under one name: its users row, if any, and its rows in
// dir_rights and blocked_ips_by_user. Rows under "*" hold for every account and outlive an account of that name.
struct Account
{
    QString name;
    bool hasUser = false;
    QStringList values;
    QList<Entry> dirs;
    QStringList ips;

    QString text() const
    {
        QStringList dirRows, ipRows = ips;
        for (const Entry& entry : dirs)
            dirRows << QStringList{entry.dir, entry.rights, entry.inherit}.join(QLatin1Char(' '));
        dirRows.sort();
        ipRows.sort();
        if (name.isEmpty())
            return QStringLiteral("nothing");
        return (hasUser ? values.join(',') : QStringLiteral("no users row")) + " | dirs: " + dirRows.join("; ") + " | ips: " + ipRows.join(',');
    }
};

// A POSIX path names a folder on a file system that tells cases apart and is stored as typed; others lower-cased.
QString storedCase(const QString& path)
{
    return path.startsWith(QLatin1Char('/')) ? path : path.toLower();
}

QString rightsOf(const QString& letters)
{
    QString ordered = Letters;
    return ordered.removeIf([&letters](QChar letter) { return !letters.contains(letter); });
}

class ModelWalk
{
public:
    ModelWalk(ProgramUnderTest& program, TestDatabase& db, quint32 seed) : m_program(program), m_db(db), m_ui(program), m_random(seed) {}

    // Accounts, rows and folders as other tools leave them; run before the program starts.
    void arrange()
    {
        m_home = m_ui.folder(QStringLiteral("home"));
        m_program.env.settings.saveRegSetting(QStringLiteral("ftp_directory"), m_home + QLatin1Char('/'));
        // "Pub" is not its lower-cased name; the last folder is longer than PostgreSQL's directory column.
        const QString deep = QStringList{QString(200, QLatin1Char('l')), QString(200, QLatin1Char('m')), QString(200, QLatin1Char('n'))}.join('/');
        for (const QString& name : QStringList{"Pub", "docs", "o'hara", "a|b", "x\u00A7y", "100%", deep})
            m_folders << m_ui.folder(name);
        const QString options = QStringLiteral("max_concurrent, max_logins_per_ip, one_login_per_ip, disable_user, timeout");
        const QString ratio = QStringLiteral(", ratio_type, ratio_up, ratio_down, ratio_current_credit");
        for (const auto& [name, columns, values] :
             {std::tuple("bob", options + ratio + ", comments, speed_limit_value, session_timeout, Expires, login_msg_file, use_quota, quota_max",
                         "-1, 0, 1, 0, -1, 'FilesOverall', 1, 3, 7, 'first', '128', 5, '12/31/2099', '/srv/welcome.txt', 1, 10485760"),
              std::tuple("O'Brien", options, "1, 0, 0, 1, 15"), std::tuple("a|b\u00A7c", options, "1, 2, 0, 0, 0"),
              std::tuple("*", options, "1, 0, 0, 0, 0"), std::tuple("say \"hi\"", options + ratio, "1, 1, 0, 0, 0, 'BytesOverall', 2, 1, 5242880")})
            m_db.exec(QStringLiteral("INSERT INTO users (username, homedir, password, quota_current, %1) VALUES (%2, %3, 'pw', 0, %4)")
                          .arg(columns, sqlQuote(QString::fromUtf8(name)), sqlQuote(m_home), QLatin1String(values)));
        // Rights in any case, and an inherit flag that is neither 0 nor 1, as other tools write them.
        for (const auto& [name, dir, rights, inherit] :
             {std::tuple("bob", m_folders[0], "rl", 1), std::tuple("bob", m_folders[1], "RWAMELCD", 1), std::tuple("O'Brien", m_folders[2], "R", 1),
              std::tuple("O'Brien", m_folders[4], "", 2), std::tuple("a|b\u00A7c", m_folders[3], "WD", 0),
              std::tuple("*", QString("c:\\global"), "RL", 1)})
            addEntry(m_db, QString::fromUtf8(name), dir, QLatin1String(rights), inherit);
        for (const char* name : {"bob", "O'Brien", "*"})
            m_db.exec(QStringLiteral("INSERT INTO blocked_ips_by_user (username, ip) VALUES (%1, '10.0.0.%2')")
                          .arg(sqlQuote(QLatin1String(name))).arg(qstrlen(name)));
        // A save is made to fail part-way by a trigger that refuses every row of a table.
        if (m_db.engine() == TestEngine::PostgreSql)
            m_db.exec(QStringLiteral("CREATE FUNCTION refuse() RETURNS trigger AS $$ BEGIN RAISE EXCEPTION 'refused'; END $$ LANGUAGE plpgsql"));
    }

    // Walks the steps; returns what went wrong, or nothing.
    QString run(int steps)
    {
        // Each dialog reads the shown account when it is made; make them now, as the program starts.
        m_program.windows.miscSetup();
        m_program.windows.udRatios();
        m_program.windows.diskQuota();
        m_model = read();
        showStored(true);
        QStringList problems;
        // The actions, each with its weight.
        using Step = void (ModelWalk::*)();
        const Step actions[] = {&ModelWalk::selectAccount, &ModelWalk::copy, &ModelWalk::newUser, &ModelWalk::type, &ModelWalk::pathStep,
                                &ModelWalk::entryStep, &ModelWalk::save, &ModelWalk::deleteOrRestore, &ModelWalk::dialog, &ModelWalk::otherTool};
        std::discrete_distribution<int> choose({10, 6, 5, 8, 10, 20, 12, 3, 9, 3});
        for (m_step = 1; m_step <= steps && problems.isEmpty(); ++m_step) {
            (this->*actions[choose(m_random)])();
            problems += check();
        }
        if (problems.isEmpty())
            return {};
        return QStringLiteral("%1 at step %2 of %3\n  %4\nlast steps:\n  %5")
            .arg(QLatin1String(m_db.engine() == TestEngine::Sqlite ? "SQLite" : "PostgreSQL")).arg(m_step - 1).arg(steps)
            .arg(problems.join(QStringLiteral("\n  ")), m_log.mid(std::max<qsizetype>(0, m_log.size() - 30)).join(QStringLiteral("\n  ")));
    }

private:
    // What the page shows, and so what its next save writes.
    struct Page
    {
        SaveMode mode = SaveMode::Update;
        QString current, box, home, password, notes;
        QList<Entry> entries;
        QStringList shown; // lstAccess, whose order Up and Down change; `selected` is a row of it
        int selected = -1;
        QString boxes; // the rights check boxes' letters
    };

    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_random); }
    QString pickOf(const QStringList& list) { return list[pick(int(list.size()))]; }
    void log(const QString& line) { m_log << QStringLiteral("#%1 %2").arg(m_step).arg(line.left(160)); }
    void expect(Answer answer, const QString& text) { m_ui.prompter().answerMessage(answer, text), m_expected << text; }
    void expectInput(const QString& text) { m_ui.prompter().answerInput(text), m_expected << QStringLiteral("input box"); }
    // Clicks a control of the page once its timer has had its say, as an administrator sees it.
    void press(const char* name)
    {
        m_ui.page().tmrRules_Timer();
        if (m_ui.enabled(name))
            F::click(&m_ui.main(), name);
        else
            m_problems << QStringLiteral("%1 is not enabled").arg(QLatin1String(name));
    }

    QString checkedBoxes()
    {
        QString letters;
        for (int index = 0; index < 9; ++index)
            letters += m_ui.control<QCheckBox>(QLatin1String(Boxes[index]))->isChecked() ? QString(Letters[index]) : QString();
        return letters;
    }
    Account* account(const QString& name)
    {
        const auto found = m_model.find(name);
        return found != m_model.end() && found->hasUser ? &*found : nullptr;
    }
    // Why a new account may not take the name, or nothing.
    QString refusal(const QString& name) const
    {
        if (name.contains(QLatin1Char('|')) || name.contains(QChar(0x00A7)) || name.trimmed() == QLatin1String("*"))
            return QStringLiteral("A user name may not");
        const auto same = [&](const Account& each) { return each.hasUser && each.name.compare(name, Qt::CaseInsensitive) == 0; };
        return std::any_of(m_model.cbegin(), m_model.cend(), same) ? InUse : QString();
    }
    // Names in use in any case, names a new account may not take, and names too long for the dialog or the save.
    QString someName()
    {
        const QStringList names = F::texts(m_ui.users());
        if (!names.isEmpty() && pick(3) == 0)
            return pick(2) ? pickOf(names).toUpper() : pickOf(names).toLower();
        return pickOf({"dave", "Dave", "o'neil", "say \"hi\"", "a|b", "x\u00A7y", "*", " * ", "Anonymous", "100%", "eve",
                       QString(46, QLatin1Char('n')), QString(51, QLatin1Char('n')), ""});
    }
    QString somePassword() { return pickOf({"pw", "n3w'pass", "p|\u00A7", "", QString(46, QLatin1Char('p'))}); }

    // The page after a load: a refilled list shows its selected account, or its first.
    void showStored(bool listRefilled)
    {
        const int row = m_ui.page().selectedUserIndex();
        if (listRefilled && m_ui.users()->count() > 0) {
            m_page.mode = SaveMode::Update;
            m_page.current = m_ui.users()->item(std::max(row, 0))->text();
        }
        m_page.entries.clear();
        m_page.selected = -1;
        if (const Account* shown = account(m_page.current)) {
            m_page.box = shown->name;
            m_page.home = shown->values[Home];
            m_page.password = Placeholder;
            m_page.notes = shown->values[Notes] == QLatin1String("<null>") ? QString() : shown->values[Notes];
            m_page.entries = shown->dirs;
        }
        m_page.shown = F::texts(m_ui.entries());
    }

    void selectAccount()
    {
        const int count = m_ui.users()->count();
        if (count == 0)
            return newUser();
        const int row = pick(count);
        log(QStringLiteral("select '%1'").arg(m_ui.users()->item(row)->text()));
        const bool same = row == m_ui.page().selectedUserIndex();
        F::clickRow(m_ui.users(), row);
        if (!same)
            showStored(true);
    }

    // Entering the name box offers to copy the shown account under another name.
    void copy()
    {
        if (m_page.box.isEmpty())
            return type();
        const int roll = pick(10);
        const Answer answer = roll < 7 ? Answer::Yes : roll < 9 ? Answer::No : Answer::Cancel;
        expect(answer, QStringLiteral("Changing the username will create another"));
        const QString typed = answer == Answer::Yes ? someName() : QString();
        log(QStringLiteral("copy '%1' as '%2'%3").arg(m_page.box, typed, answer == Answer::Yes ? "" : " declined"));
        const QString name = typed.trimmed().isEmpty() ? m_page.box : typed;
        if (answer == Answer::Yes)
            expectInput(typed);
        if (answer != Answer::Yes || name.compare(m_page.current, Qt::CaseInsensitive) == 0) {
        } else if (const QString why = refusal(name); !why.isEmpty()) {
            expect(Answer::Ok, why);
        } else {
            m_page.password = somePassword();
            expectInput(m_page.password);
            m_page.box = m_page.current = name;
            m_page.mode = SaveMode::Copy;
        }
        F::enter(m_ui.box("txtUsername"));
        QCoreApplication::processEvents();
    }

    // Another tool adds an account under the name of a pending copy, in upper case, before the page saves
    // the copy: the save must check the name again.
    void otherTool()
    {
        if (m_page.mode != SaveMode::Copy)
            copy();
        const QString name = m_page.box.toUpper();
        if (m_page.mode != SaveMode::Copy || name.size() > 45 || !refusal(name).isEmpty())
            return;
        log(QStringLiteral("another tool adds '%1'").arg(name));
        m_db.exec(accountInsert(name, {}, {}, m_home));
        m_model[name] = read().value(name);
        save();
    }

    void newUser()
    {
        const QString name = someName();
        const QString password = pickOf({"pw", "s3cr'et", "", QString(51, QLatin1Char('p'))});
        log(QStringLiteral("new user '%1', password '%2'").arg(name, password));
        press("cmdNew");
        QWidget* dialog = m_ui.main().findChild<QWidget*>(QStringLiteral("frmNewName"));
        const bool forbidden = QStringList{"default", "** default **", "anonymous", "** anonymous **"}.contains(name.trimmed().toLower());
        const QString why = name.trimmed().isEmpty() ? QStringLiteral("-")
            : name.size() > 50                       ? QStringLiteral("new username field")
            : forbidden                              ? QStringLiteral("Those are forbidden usernames.")
            : password.trimmed().isEmpty()           ? QStringLiteral("-")
            : password.size() > 50                   ? QStringLiteral("password field")
                                                     : refusal(name);
        std::function<void()> apply;
        if (why.isEmpty()) {
            m_page = Page{SaveMode::NewUser, {}, name, m_home, password, {}, {}, {}, -1, m_page.boxes};
            apply = planSave();
        } else if (why != QLatin1String("-")) {
            expect(Answer::Ok, why);
        }
        F::retype(F::box(dialog, "txtNewName"), name);
        F::retype(F::box(dialog, "txtPassword"), password);
        F::click(dialog, "cmdOK");
        if (why.isEmpty())
            endSave(apply);
        if (dialog->isVisible())
            F::click(dialog, "cmdCancel");
    }

    // Types a home directory (a folder, none, a network path or one too long for a column), a password or notes.
    void type()
    {
        const int field = pick(3);
        const QString tooLong = pickOf({m_home, QString(600, QLatin1Char('h')), QString(1025, QLatin1Char('h'))});
        const QString notes =
            pickOf({"", "  ", "O'Brien's \"box\" 100% -- ;", "a|b\u00A7c", QString(300, QLatin1Char('n')), QString(40001, QLatin1Char('n'))});
        const QString text = field == 0 ? pickOf({m_home, pickOf(m_folders), "C:\\NoWhere", "\\\\Server\\Share\\Bob", "", tooLong})
            : field == 1                ? somePassword()
                                        : notes;
        log(QStringLiteral("type %1 '%2'").arg(QLatin1String(field == 0 ? "home" : field == 1 ? "password" : "notes"), text));
        if (field == 2) {
            m_ui.notes()->setPlainText(m_page.notes = text);
            F::leave(m_ui.notes());
        } else {
            F::type(m_ui.box(field == 0 ? "txtHomeDir" : "txtPassword"), text);
            (field == 0 ? m_page.home : m_page.password) = field == 1 && text.isEmpty() ? Placeholder : text;
        }
    }

    // Add or Edit run the path dialog modally; a path that is no folder, or none, keeps it open until Cancel.
    // Add proposes the FTP directory, which is sometimes taken as it stands.
    void pathStep()
    {
        QStringList free;
        for (const QString& folder : m_folders + QStringList{m_home})
            if (std::none_of(m_page.entries.cbegin(), m_page.entries.cend(), [&](const Entry& entry) { return entry.dir == folder; }))
                free << folder;
        const bool edit = m_page.selected >= 0 && pick(2);
        if (free.isEmpty() || (!edit && m_ui.page().selectedUserIndex() < 0))
            return selectAccount();
        const int roll = pick(16);
        const bool valid = roll > 1, proposed = !edit && roll == 2;
        const QString path = proposed ? m_home : roll == 0 ? m_home + QStringLiteral("/missing") : roll == 1 ? QStringLiteral("  ") : pickOf(free);
        const QString old = edit ? m_page.shown[m_page.selected] : QString();
        if (proposed && !free.contains(m_home))
            return selectAccount();
        log(QStringLiteral("%1 entry '%2'").arg(edit ? QStringLiteral("edit '%1' to").arg(old) : QStringLiteral("add"), path));
        m_ui.prompter().onModal(QStringLiteral("frmAddEditDir"), [path, valid, proposed](QWidget* window) {
            if (!proposed)
                F::box(window, "txtPath")->setText(path);
            F::click(window, "cmdOK");
            if (!valid)
                F::click(window, "cmdCancel");
        });
        m_expected << QStringLiteral("the path dialog");
        if (!valid)
            expect(Answer::Ok, QLatin1String(roll == 0 ? "The path specified is not valid." : "Please enter a path"));
        press(edit ? "cmdEdit" : "cmdAdd");
        if (valid && !edit) {
            m_page.entries << Entry{storedCase(path), QStringLiteral("RL"), QStringLiteral("1")};
            m_page.shown << storedCase(path);
        }
        for (Entry& entry : m_page.entries)
            if (valid && edit && entry.dir.compare(old, Qt::CaseInsensitive) == 0)
                entry.dir = storedCase(path);
        if (valid && edit)
            m_page.shown[m_page.selected] = storedCase(path);
    }
    // Clicks an entry, ticks a rights box, deletes the entry or moves it.
    void entryStep()
    {
        const int roll = pick(10);
        if (m_page.shown.isEmpty())
            return pathStep();
        if (m_page.selected < 0 || roll < 3) {
            const int row = pick(int(m_page.shown.size()));
            log(QStringLiteral("click entry %1").arg(row));
            F::clickRow(m_ui.entries(), row);
            if (row != m_page.selected)
                boxesFrom(m_page.selected = row);
        } else if (roll < 7) {
            const int index = pick(9);
            log(QStringLiteral("tick %1").arg(QLatin1String(Boxes[index])));
            if (const QChar letter = Letters[index]; m_page.boxes.contains(letter))
                m_page.boxes.remove(letter);
            else
                m_page.boxes = rightsOf(m_page.boxes + letter);
            press(Boxes[index]);
        } else if (roll < 8) {
            const QString dir = m_page.shown.takeAt(m_page.selected);
            log(QStringLiteral("delete entry '%1'").arg(dir));
            m_page.entries.removeIf([&](const Entry& entry) { return entry.dir == dir; });
            m_page.selected = -1;
            press("cmdDirDelete");
        } else {
            const bool up = roll == 8;
            const int other = m_page.selected + (up ? -1 : 1);
            log(QStringLiteral("move entry %1 %2").arg(m_page.selected).arg(QLatin1String(up ? "up" : "down")));
            press(up ? "cmdUp" : "cmdDown");
            if (other < 0 || other >= m_page.shown.size())
                return;
            // The moved entry is selected anew, so the boxes show its stored rights again.
            m_page.shown.swapItemsAt(m_page.selected, other);
            boxesFrom(m_page.selected = other);
        }
    }
    void boxesFrom(int row)
    {
        for (const Entry& entry : m_page.entries)
            if (entry.dir == m_page.shown[row])
                m_page.boxes = rightsOf(entry.rights.toUpper() + (entry.inherit == QLatin1String("1") ? "I" : ""));
    }

    // What a save of the page must do: the prompts it shows, and the rows it writes if it lands.
    std::function<void()> planSave()
    {
        const Page page = m_page;
        const bool creates = page.mode != SaveMode::Update;
        const QString name = creates ? page.box : page.current;
        const QString selected = page.selected >= 0 ? storedCase(page.shown[page.selected]) : QString();
        const Entry boxes{selected, QString(page.boxes).remove(QLatin1Char('I')), page.boxes.contains(QLatin1Char('I')) ? "1" : "0"};
        QList<Entry> rows;
        for (const Entry& entry : page.entries)
            rows << (page.selected >= 0 && entry.dir == selected ? boxes : entry);
        if (page.mode == SaveMode::NewUser)
            rows = page.selected >= 0 ? QList<Entry>{boxes} : QList<Entry>{};
        // Some saves meet a statement that fails: every row of dir_rights, or of users, is refused.
        m_break = pick(5) == 0 ? 1 + pick(2) : 0;
        setBreak(true);
        const bool postgres = m_db.engine() == TestEngine::PostgreSql;
        const bool folder = QFileInfo(page.home).isDir();
        QString stop = page.box.size() > 45         ? QStringLiteral("Username field")
            : page.home.size() > 1024               ? QStringLiteral("Home Directory field")
            : page.password.size() > 45             ? QStringLiteral("Password field")
            : page.notes.size() > 40000             ? QStringLiteral("Notes field")
            : page.box.trimmed().isEmpty()          ? QStringLiteral("Username cannot be left blank.")
            : page.home.trimmed().isEmpty()         ? QStringLiteral("Home Directory field cannot be left blank.")
            : !folder && pick(4) == 0               ? QStringLiteral("-")
                                                    : QString();
        if (!folder && (stop.isEmpty() || stop == QLatin1String("-")))
            expect(stop.isEmpty() ? Answer::Ok : Answer::Cancel, QStringLiteral("The Home Directory specified is not valid."));
        // A network path is kept only when the administrator says Yes to it.
        if (stop.isEmpty() && page.home.startsWith(QLatin1String("\\\\"))) {
            stop = pick(2) ? QString() : QStringLiteral("-");
            expect(stop.isEmpty() ? Answer::Yes : Answer::No, QStringLiteral("is a network or UNC path."));
        }
        if (stop.isEmpty()) {
            const bool longDir = std::any_of(rows.cbegin(), rows.cend(), [](const Entry& entry) { return entry.dir.size() > 512; });
            stop = page.password.trimmed().isEmpty()     ? QStringLiteral("The Password field must contain")
                : postgres && page.home.size() > 512     ? QStringLiteral("Home Directory field")
                : postgres && page.notes.size() > 256    ? QStringLiteral("Notes field")
                : postgres && longDir                    ? QStringLiteral("directory field")
                : creates                                ? refusal(name)
                : !account(name)                         ? QStringLiteral("is no longer in the database")
                                                         : QString();
            if (stop.isEmpty() && (m_break == 2 || (m_break == 1 && !rows.isEmpty())))
                stop = DatabaseError;
        }
        log(QStringLiteral("save (mode %1, '%2'%3): %4")
                .arg(int(page.mode)).arg(name, QLatin1String(m_break == 0 ? "" : m_break == 1 ? ", dir_rights broken" : ", users broken"),
                     stop.isEmpty() ? QStringLiteral("lands") : stop));
        if (!stop.isEmpty()) {
            if (stop != QLatin1String("-"))
                expect(Answer::Ok, stop);
            return {};
        }
        return [this, page, name, creates, rows] {
            Account& saved = m_model[name];
            if (creates)
                saved = {name, true, {"", "", "", "0", "0", "0", "0", "0", "1", "0", "0", "0", "1", "", "", "", "", "0", "0", "0", "0", "0"}, {}, {}};
            saved.values[Home] = storedCase(page.home);
            if (creates || page.password != Placeholder)
                saved.values[Password] = page.password;
            saved.values[Notes] = page.notes.trimmed().isEmpty() ? QStringLiteral("<null>") : page.notes;
            saved.dirs = rows;
        };
    }
    void setBreak(bool on)
    {
        const QString table = QLatin1String(m_break == 1 ? "dir_rights" : "users");
        const bool postgres = m_db.engine() == TestEngine::PostgreSql;
        for (const QString event : {"INSERT", "UPDATE"})
            if (m_break)
                m_db.exec(on ? QStringLiteral("CREATE TRIGGER refuse_%1 BEFORE %1 ON %2 %3").arg(event, table, QLatin1String(
                                   postgres ? "FOR EACH ROW EXECUTE FUNCTION refuse()" : "BEGIN SELECT RAISE(ABORT, 'refused'); END"))
                             : QStringLiteral("DROP TRIGGER refuse_%1").arg(event) + (postgres ? QStringLiteral(" ON ") + table : QString()));
    }
    void endSave(const std::function<void()>& apply)
    {
        setBreak(false);
        m_break = 0;
        if (apply) {
            apply();
            showStored(true);
        }
    }
    void save()
    {
        const auto apply = planSave();
        press("cmdStore");
        endSave(apply);
    }

    void deleteOrRestore()
    {
        const int roll = pick(10);
        if (roll == 0) {
            log(QStringLiteral("restore"));
            press("cmdRestore");
            m_page.mode = SaveMode::Update;
            return showStored(true);
        }
        const Answer answer = roll < 6 ? Answer::Yes : roll < 8 ? Answer::No : Answer::Cancel;
        log(QStringLiteral("delete '%1'%2").arg(m_page.current, answer == Answer::Yes ? "" : " declined"));
        expect(answer, QStringLiteral("Are you sure you want to delete"));
        press("cmdDelete");
        if (answer == Answer::Yes && m_page.current == QLatin1String("*"))
            m_model[m_page.current].hasUser = false;
        else if (answer == Answer::Yes)
            m_model.remove(m_page.current);
        if (m_ui.users()->count() == 0)
            m_page.box = m_page.home = m_page.password = m_page.notes = QString();
        showStored(true);
    }

    // The options, ratios or quota of the shown account, then OK or Cancel; meanwhile the
    // page may move on to another account, and the load may have failed.
    void dialog()
    {
        if (m_ui.page().selectedUserIndex() < 0)
            return selectAccount();
        const char* const kinds[][3] = {{"cmdMisc", "frmMiscSetup", "rel_path"}, {"cmdUpDownRatios", "frmUDRatios", "ratio_type"},
                                        {"cmdQuota", "frmDiskQuota", "use_quota"}};
        const int kind = pick(3);
        const auto [button, name, column] = kinds[kind];
        const bool broken = pick(5) == 0;
        const QString rename = QStringLiteral("ALTER TABLE users RENAME COLUMN %1 TO %2");
        if (broken) {
            m_db.exec(rename.arg(QLatin1String(column), "hidden_column"));
            expect(Answer::Ok, DatabaseError);
        }
        press(button);
        if (broken)
            m_db.exec(rename.arg("hidden_column", QLatin1String(column)));
        QWidget* window = F::shown(name);
        if (!window)
            return void(m_problems << QStringLiteral("%1 did not open").arg(QLatin1String(name)));
        const QString target = m_page.current;
        Account* shown = broken ? nullptr : account(target);
        QString what = QStringLiteral("no change");
        const Changes changes = shown ? change(kind, window, *shown, what) : Changes();
        const bool ok = pick(10) < 7;
        log(QStringLiteral("%1 of '%2'%3: %4, %5").arg(QLatin1String(name), target, QLatin1String(broken ? " (load fails)" : ""), what,
                                                       QLatin1String(ok ? "OK" : "Cancel")));
        if (pick(4) == 0)
            selectAccount();
        if (ok && !shown) {
            expect(Answer::Ok, QStringLiteral("could not be read, so nothing was saved"));
            F::click(window, "cmdOK");
        }
        F::click(window, ok && shown ? "cmdOK" : "cmdCancel");
        for (const auto& [index, value] : ok && shown ? changes : Changes())
            shown->values[index] = value;
        if (ok && shown && kind == 0) // the options dialog shows the page's account afresh
            showStored(false);
        if (window->isVisible())
            m_problems << QStringLiteral("%1 stayed open").arg(QLatin1String(name));
    }
    Changes change(int kind, QWidget* window, const Account& shown, QString& what)
    {
        const QString number = QString::number(pick(10));
        const int roll = pick(7);
        if (kind == 0 && roll < 6) {
            const char* controls[] = {"chkDisableAccount", "ChkShowRelPath", "ChkHideHidden", "ChkAlwaysLogin", "optOneLogin", "optMaxLogins"};
            F::click(window, controls[roll]);
            what = QLatin1String(controls[roll]);
            if (roll < 4)
                return {{Disabled + roll, shown.values[Disabled + roll] == QLatin1String("0") ? "1" : "0"}};
            if (roll == 5)
                F::retype(F::box(window, "TxtAllowOnly"), number);
            return {{OneLogin, roll == 4 ? "1" : "0"}, {MaxLogins, roll == 4 ? QStringLiteral("0") : number}};
        }
        const bool on = kind == 1 ? !shown.values[RatioType].isEmpty() : shown.values[UseQuota] != QLatin1String("0");
        if (kind > 0 && roll < 2 && on) {
            F::retype(F::box(window, kind == 1 ? "txtUpload" : "txtQuotaMaximum"), number);
            what = QStringLiteral("typed ") + number;
            return {{kind == 1 ? RatioUp : QuotaMax, kind == 1 ? number : QString::number(number.toInt() * 1048576)}};
        }
        // A ratio switched on needs every box filled, which is not done here.
        if (kind > 0 && roll < 4 && (on || kind == 2)) {
            F::click(window, kind == 1 ? "chkEnableUD" : "chkEnableQuota");
            what = QLatin1String(on ? "switched off" : "switched on");
            if (kind == 1)
                return {{RatioType, ""}, {Credit, "0"}};
            return on ? Changes{{UseQuota, "0"}, {QuotaMax, "0"}} : Changes{{UseQuota, "1"}};
        }
        return {};
    }

    // Everything the database holds, by exact name: so an account split by a case-only rename, or rows
    // left without their account, differ from the model.
    QMap<QString, Account> read()
    {
        QMap<QString, Account> accounts;
        Rows users = m_db.database().select(QStringLiteral("select username, %1 from users").arg(QLatin1String(Columns)));
        while (users.next()) {
            Account& user = accounts[users.textAt(0)] = Account{users.textAt(0), true, {}, {}, {}};
            for (int column = 1; column <= ColumnCount; ++column)
                user.values << users.textAt(column);
        }
        Rows rows = m_db.database().select(QStringLiteral("select username, directory, dir_rights, inherit_subdirs from dir_rights union all "
                                                          "select username, ip, null, null from blocked_ips_by_user"));
        while (rows.next()) {
            Account& owner = accounts[rows.textAt(0)];
            owner.name = rows.textAt(0);
            if (rows.isNull(QStringLiteral("dir_rights")))
                owner.ips << rows.textAt(1);
            else
                owner.dirs << Entry{rows.textAt(1), rows.textAt(2), rows.textAt(3)};
        }
        return accounts;
    }

    QStringList check()
    {
        QStringList problems = std::exchange(m_problems, {});
        if (QTest::currentTestFailed())
            problems << QStringLiteral("the program showed a prompt the model did not expect (see above)");
        if (m_ui.prompter().unusedSteps() > 0)
            problems << QStringLiteral("prompts that did not come: ") + m_expected.join(QStringLiteral(" / "));
        m_ui.prompter().reset();
        m_expected.clear();
        const QMap<QString, Account> stored = read();
        QStringList names = m_model.keys() + stored.keys();
        names.removeDuplicates();
        for (const QString& name : names) {
            // A step writes only to its own account: a dialog what it showed, a save what the page showed, and only if it lands.
            const QString want = m_model.value(name).text(), got = stored.value(name).text();
            if (want != got)
                problems << QStringLiteral("'%1' differs from the model\n    model:    %2\n    database: %3")
                                .arg(name, want.left(600), got.left(600));
        }
        // The model follows the page, so the page must show what the model holds.
        QListWidget* list = m_ui.entries();
        const int selected = list->currentItem() && list->currentItem()->isSelected() ? list->currentRow() : -1;
        const QStringList want{QString::number(int(m_page.mode)), m_page.current, m_page.box, m_page.home, m_page.password, m_page.notes,
                               m_page.shown.join(QLatin1Char(';')), QString::number(m_page.selected),
                               m_page.selected < 0 ? "-" : m_page.boxes};
        const QStringList got{QString::number(int(m_ui.state().saveMode)), m_ui.state().currentUser, m_ui.box("txtUsername")->text(),
                              m_ui.box("txtHomeDir")->text(), m_ui.box("txtPassword")->text(), m_ui.notes()->toPlainText(),
                              F::texts(list).join(QLatin1Char(';')), QString::number(selected),
                              selected < 0 ? "-" : checkedBoxes()};
        if (want != got)
            problems << QStringLiteral("the page does not show what the model holds\n    model: %1\n    page:  %2")
                            .arg(want.join(QStringLiteral(" | ")).left(900), got.join(QStringLiteral(" | ")).left(900));
        return problems;
    }

    ProgramUnderTest& m_program;
    TestDatabase& m_db;
    AccountsFixture m_ui;
    std::mt19937 m_random;
    QMap<QString, Account> m_model;
    Page m_page;
    QString m_home;
    QStringList m_folders, m_log, m_expected, m_problems;
    int m_break = 0, m_step = 0;
};

} // namespace

class TestUserPageModel : public QObject
{
    Q_OBJECT

private slots:
    void randomWalk_data() { addEngineRows(); }
    void randomWalk()
    {
        bool given = false;
        const quint32 seed = qEnvironmentVariable("QUILLMERE_MODEL_SEED").toUInt(&given);
        const int steps = qEnvironmentVariableIsSet("QUILLMERE_MODEL_STEPS") ? qEnvironmentVariableIntValue("QUILLMERE_MODEL_STEPS") : 1000;
        ProgramUnderTest program;
        QUILLMERE_OPEN_DATABASE(db, program.env);
        ModelWalk walk(program, *db, given ? seed : 20240611u);
        walk.arrange();
        program.start();
        const QString failure = walk.run(steps);
        if (!failure.isEmpty())
            qInfo().noquote() << QStringLiteral("QUILLMERE_MODEL_SEED=%1, ").arg(given ? seed : 20240611u) + failure;
        QVERIFY2(failure.isEmpty(), "the walk broke a rule: the seed, the rule and the last steps are above");
    }
};

QUILLMERE_TEST(TestUserPageModel)
#include "TestUserPageModel.moc"
