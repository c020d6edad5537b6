#include "accounts/AccountStore.h"

#include "accounts/AccountNames.h"
#include "db/Schema.h"
#include "db/SqlText.h"
#include "db/StoredFlag.h"
#include "platform/PathInfo.h"
#include "platform/Prompter.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/Session.h"

#include <QSet>

namespace accounts {
namespace {

constexpr int MaxUsername = 45;
constexpr int MaxHomedir = 1024;
constexpr int MaxPassword = 45;
constexpr int MaxNotes = 40000;

const QString PasswordPlaceholder = QStringLiteral("[Click Here to Change]");

void warn(AppContext& context, const QString& text)
{
    context.prompter.tell(appinfo::Title, text, prompt::Icon::Exclamation);
}

QString tooLong(const QString& field)
{
    return QStringLiteral("The number of characters in the %1 field \r\nexceeds the maximum number of characters allowed.")
        .arg(field);
}

// A stored inherit flag goes into SQL as a number; anything else counts as 0.
QString inheritNumber(const QString& field)
{
    bool ok = false;
    const qint64 value = field.trimmed().toLongLong(&ok);
    return sqlNumber(ok ? value : qint64(0));
}

bool writeEntries(Session& session, AppContext& context, const PageState& page, const PageValues& values,
                  const QString& pageRights)
{
    const QString selected = values.selectedDirectory ? storedPathCase(*values.selectedDirectory) : QString();
    for (const accessrules::Entry& entry : accessrules::entries(page.accessRuleList)) {
        const QString directory = storedPathCase(entry.directory);
        QString rights;
        QString inherit;
        // The check boxes show the selected entry, so their state wins for it.
        if (values.selectedDirectory && directory == selected) {
            rights = pageRights;
            inherit = values.pageInherit ? QStringLiteral("1") : QStringLiteral("0");
        } else {
            rights = sqlQuote(entry.rights);
            inherit = inheritNumber(entry.inherit);
        }
        context.logStatus(QStringLiteral("insert dir rights for ") + directory);
        if (directory.isEmpty())
            continue;
        if (!session.execute(QStringLiteral("INSERT INTO [dir_rights] ([username], [directory], [dir_rights], [inherit_subdirs]) "
                                            "VALUES (%1, %2, %3, %4)")
                                 .arg(sqlQuote(page.currentUser), sqlQuote(directory), rights, inherit)))
            return false;
    }
    return true;
}

// The texts a save writes, measured against the columns of the engine at hand
// before anything is written.
bool fitsColumns(AppContext& context, Engine engine, const PageState& page, const PageValues& values, const QString& home)
{
    const auto fits = [engine](const char* table, const char* column, const QString& text) {
        const auto limit = schema::textLimit(QLatin1String(table), QLatin1String(column), engine);
        return !limit || text.size() <= *limit;
    };
    if (!fits("users", "homedir", home)) {
        warn(context, tooLong(QStringLiteral("Home Directory")));
        return false;
    }
    if (!values.keepStoredNotes && !fits("users", "comments", values.notes)) {
        warn(context, tooLong(QStringLiteral("Notes")));
        return false;
    }
    QStringList directories;
    if (page.saveMode == SaveMode::NewUser) {
        if (values.selectedDirectory)
            directories << *values.selectedDirectory;
    } else {
        for (const accessrules::Entry& entry : accessrules::entries(page.accessRuleList))
            directories << entry.directory;
    }
    for (const QString& directory : directories) {
        if (!fits("dir_rights", "directory", directory)) {
            warn(context, tooLong(QStringLiteral("directory")));
            return false;
        }
    }
    return true;
}

// Looks a name up ignoring case, as the engines of Windows always compared names;
// Access does so by itself and knows no Lower.
std::optional<bool> nameTaken(Session& session, const QString& name)
{
    const QString sql = session.engine() == Engine::Access
        ? QStringLiteral("select username from users where username=") + sqlQuote(name)
        : QStringLiteral("select username from users where Lower(username)=Lower(") + sqlQuote(name) + QStringLiteral(")");
    Rows rows = session.select(sql);
    if (!rows.isValid())
        return std::nullopt;
    return rows.next();
}

void tellNameInUse(AppContext& context)
{
    context.prompter.tell(QStringLiteral("Username in use"), QStringLiteral("That username is already in use. Please choose another."),
                          prompt::Icon::Exclamation);
}

// A name checked when the new account was prepared may have been taken since.
bool newNameAvailable(AppContext& context, Session& session, const QString& name)
{
    if (const auto problem = newNameProblem(name)) {
        warn(context, *problem);
        return false;
    }
    const auto taken = nameTaken(session, name);
    if (taken && *taken)
        tellNameInUse(context);
    return taken && !*taken;
}

} // namespace

std::optional<UserList> readUserList(AppContext& context)
{
    Session session(context);
    if (!session.open())
        return std::nullopt;
    Rows rows = session.select(QStringLiteral("select username from users order by username"));
    if (!rows.isValid())
        return std::nullopt;
    UserList list;
    while (rows.next())
        list.names.append(rows.textAt(0));
    rows = Rows();
    list.disabled = QList<bool>(list.names.size(), false);
    QSet<QString> disabled;
    Rows flags = session.database()->select(
        QStringLiteral("SELECT [username], [disable_user] FROM [users] WHERE [disable_user] <> 0"));
    while (flags.isValid() && flags.next()) {
        if (storedFlagIsSet(flags.value(QStringLiteral("disable_user"))))
            disabled.insert(flags.textAt(0));
    }
    if (!disabled.isEmpty()) {
        for (qsizetype row = 0; row < list.names.size(); ++row)
            list.disabled[row] = disabled.contains(list.names.at(row));
    }
    return list;
}

LoadedUser loadUser(AppContext& context, const QString& name)
{
    LoadedUser user;
    Session session(context);
    if (!session.open())
        return user;
    user.opened = true;
    const QString quoted = sqlQuote(name);

    Rows basics = session.select(QStringLiteral("SELECT username, homedir, comments FROM users WHERE username=") + quoted);
    if (!basics.isValid())
        return user;
    const auto columnLimit = schema::textLimit(QStringLiteral("users"), QStringLiteral("comments"), session.engine());
    user.commentsLimit = columnLimit ? std::min(*columnLimit, MaxNotes) : MaxNotes;
    while (basics.next()) {
        user.rowFound = true;
        user.username = basics.text(QStringLiteral("username"));
        user.homedir = basics.text(QStringLiteral("homedir"));
        user.comments = basics.text(QStringLiteral("comments"));
        // Notes of another tool may run to megabytes; the page shows what a save may store.
        user.commentsCut = user.comments.size() > user.commentsLimit;
        if (user.commentsCut)
            user.comments.truncate(user.commentsLimit);
    }
    context.logStatus(QStringLiteral("getdata for this page"));

    Rows directories =
        session.select(QStringLiteral("SELECT directory, dir_rights, inherit_subdirs FROM dir_rights WHERE username=") + quoted);
    if (!directories.isValid())
        return user;
    while (directories.next()) {
        const QString directory = directories.text(QStringLiteral("directory"));
        user.directories.append(directory);
        user.accessRuleList += accessrules::entryText({name, directory, directories.text(QStringLiteral("dir_rights")),
                                                  directories.text(QStringLiteral("inherit_subdirs"))})
            + accessrules::Separator;
    }

    Rows dates = session.select(QStringLiteral("SELECT Expires, DisableOn FROM users WHERE username=") + quoted);
    if (!dates.isValid())
        return user;
    user.datesRead = true;
    while (dates.next()) {
        user.expires = dates.text(QStringLiteral("Expires"));
        user.disableOn = dates.text(QStringLiteral("DisableOn"));
    }

    Session second(context);
    if (!second.open()) {
        user.complete = true;
        return user;
    }
    Rows flag = second.select(QStringLiteral("SELECT disable_user FROM users WHERE username=") + quoted);
    if (!flag.isValid())
        return user;
    user.disableFlagRead = true;
    while (flag.next()) {
        const QString text = flag.isNull(QStringLiteral("disable_user")) ? QStringLiteral("0") : flag.text(QStringLiteral("disable_user"));
        user.disabled = text.toDouble() == 1.0;
    }
    if (user.accessRuleList.size() > 1)
        user.accessRuleList.chop(1);
    user.complete = true;
    return user;
}

bool saveUser(AppContext& context, PageState& page, const PageValues& values)
{
    context.logStatus(QStringLiteral("rootdir = getRegSettings(ftp_directory)"));
    context.logStatus(QStringLiteral("check for duplicate username"));
    page.pageChanged = false;
    context.logStatus(QStringLiteral("get the basic data from the main page"));

    if (values.username.size() > MaxUsername) {
        warn(context, tooLong(QStringLiteral("Username")));
        return false;
    }
    if (values.homedir.size() > MaxHomedir) {
        warn(context, tooLong(QStringLiteral("Home Directory")));
        return false;
    }
    if (values.password.size() > MaxPassword) {
        warn(context, tooLong(QStringLiteral("Password")));
        return false;
    }
    if (values.notes.size() > MaxNotes) {
        warn(context, tooLong(QStringLiteral("Notes")));
        return false;
    }
    if (values.username.trimmed().isEmpty()) {
        warn(context, QStringLiteral("Username cannot be left blank."));
        return false;
    }
    const QString home = storedPathCase(values.homedir);
    if (home.trimmed().isEmpty()) {
        warn(context, QStringLiteral("Home Directory field cannot be left blank."));
        return false;
    }
    // Looked for as typed: on a case-sensitive file system the lower-cased name may be another folder.
    const PathFacts facts = pathInfo(values.homedir);
    if (!facts.isDirectory) {
        const auto answer = context.prompter.ask(appinfo::Title,
                                                 QStringLiteral("The Home Directory specified is not valid.\r\n\r\n"
                                                                "Press OK to save as entered, or Cancel to edit."),
                                                 prompt::Icon::Exclamation, prompt::Buttons::OkCancel);
        if (answer != prompt::Answer::Ok)
            return false;
    }
    if (facts.isNetworkPath || facts.isUnc) {
        const auto answer = context.prompter.ask(
            appinfo::Title,
            QStringLiteral("The Home Directory path specified is a network or UNC path.\r\n"
                           "These paths may need directory user rights for proper usage.\r\n\r\n"
                           "Are you sure you want to use network or UNC paths?"),
            prompt::Icon::Question, prompt::Buttons::YesNoCancel, prompt::Answer::No);
        if (answer != prompt::Answer::Yes)
            return false;
    }
    if (values.password.trimmed().isEmpty()) {
        warn(context, QStringLiteral("The Password field must contain at least an alphanumeric character"));
        return false;
    }
    const bool passwordChanged = values.password != PasswordPlaceholder;
    const QString notes = values.notes.trimmed().isEmpty() ? QStringLiteral("NULL") : sqlQuote(values.notes);
    context.logStatus(QStringLiteral("encode the dir rights acronym"));
    // No box checked stores empty rights text.
    const QString pageRights = sqlQuote(values.anyRightChecked ? accessrules::rightsLetters(values.pageRights) : QString());

    Session session(context);
    if (!session.open())
        return false;
    if (!fitsColumns(context, session.engine(), page, values, home))
        return false;

    // A new account takes the name on the page; an update never renames one.
    const bool creates = page.saveMode != SaveMode::Update;
    const QString name = creates ? values.username : page.currentUser;
    const QString user = sqlQuote(name);
    Transaction work(session);
    if (!work.isUsable())
        return false;
    if (creates && !newNameAvailable(context, session, name))
        return false;

    const QString insertAccount =
        QStringLiteral("INSERT INTO [users]([username], [homedir], [password], [comments], [max_concurrent], "
                       "[max_logins_per_ip], [quota_current])VALUES(%1, %2, %3, %4, 1, 1, 0)")
            .arg(user, sqlQuote(home), sqlQuote(values.password), notes);
    const QString deleteEntries = QStringLiteral("DELETE FROM [dir_rights] WHERE [username]=") + sqlQuote(page.currentUser);

    switch (page.saveMode) {
    case SaveMode::Update: {
        context.logStatus(QStringLiteral("Update users table with new info"));
        const QString passwordPart =
            passwordChanged ? QStringLiteral(", [password]=") + sqlQuote(values.password) : QString();
        // Notes cut for showing and left alone by the administrator keep their stored text.
        const QString notesPart = values.keepStoredNotes ? QString() : QStringLiteral(", [comments]=") + notes;
        if (!session.execute(QStringLiteral("UPDATE [users] SET [username]=") + user + QStringLiteral(", [homedir]=")
                             + sqlQuote(home) + passwordPart + notesPart + QStringLiteral(" WHERE [username]=") + user))
            return false;
        if (session.database()->rowsAffected() == 0) {
            warn(context, QStringLiteral("The account %1 is no longer in the database, so nothing was saved.").arg(name));
            return false;
        }
        context.logStatus(QStringLiteral("Delete all dir rights"));
        if (!session.execute(deleteEntries) || !writeEntries(session, context, page, values, pageRights))
            return false;
        break;
    }
    case SaveMode::NewUser:
        context.logStatus(QStringLiteral("insert into users (new user)"));
        if (!session.execute(insertAccount))
            return false;
        if (values.selectedDirectory) {
            context.logStatus(QStringLiteral("insert into dir_rights (new user)"));
            if (!session.execute(QStringLiteral("INSERT INTO [dir_rights] ([username], [directory], [dir_rights], [inherit_subdirs]) "
                                                "VALUES (")
                                 + user + QStringLiteral(", ") + sqlQuote(storedPathCase(*values.selectedDirectory))
                                 + QStringLiteral(", ") + pageRights + QStringLiteral(", ")
                                 + (values.pageInherit ? QStringLiteral("1") : QStringLiteral("0")) + QStringLiteral(")")))
                return false;
        }
        break;
    case SaveMode::Copy:
        context.logStatus(QStringLiteral("insert into users (new user)"));
        if (!session.execute(insertAccount))
            return false;
        context.logStatus(QStringLiteral("Delete all dir rights"));
        if (!session.execute(deleteEntries) || !writeEntries(session, context, page, values, pageRights))
            return false;
        break;
    }
    // The page describes what the database holds only once everything has landed.
    if (!work.commit())
        return false;
    page.saveMode = SaveMode::Update;
    context.logStatus(QStringLiteral("close database"));
    return true;
}

DeleteOutcome deleteUser(AppContext& context, const QString& name)
{
    const auto answer = context.prompter.ask(QStringLiteral("Warning: Deleting a user is permanent."),
                                             QStringLiteral("Warning: You cannot undo or restore from this action.\r\n"
                                                            "Are you sure you want to delete %1?\r\n")
                                                 .arg(name),
                                             prompt::Icon::Exclamation, prompt::Buttons::YesNoCancel, prompt::Answer::No);
    if (answer != prompt::Answer::Yes)
        return DeleteOutcome::Declined;
    Session session(context);
    if (!session.open())
        return DeleteOutcome::Failed;
    context.logStatus(QStringLiteral("theres no turning back now, delete all traces of user"));
    for (const QString& statement : schema::accountDeletionStatements(name)) {
        if (!session.execute(statement))
            return DeleteOutcome::Failed;
    }
    return DeleteOutcome::Deleted;
}

std::optional<bool> nameInUse(AppContext& context, const QString& name)
{
    Session session(context);
    if (!session.open())
        return std::nullopt;
    return nameTaken(session, name);
}

std::optional<bool> checkNewName(AppContext& context, const QString& name)
{
    if (const auto problem = newNameProblem(name)) {
        warn(context, *problem);
        return false;
    }
    const auto inUse = nameInUse(context, name);
    if (!inUse)
        return std::nullopt;
    if (*inUse)
        tellNameInUse(context);
    return !*inUse;
}

} // namespace accounts
