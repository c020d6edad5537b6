#include "services/Session.h"

#include "platform/Prompter.h"
#include "platform/SettingsStore.h"
#include "services/AppContext.h"
#include "services/AppInfo.h"
#include "services/ProgramExit.h"

Session::Session(AppContext& context)
    : m_ctx(context)
{
}

Session::~Session()
{
    close();
}

bool Session::open(Feedback feedback)
{
    close();
    m_ctx.logStatus(QStringLiteral("attempt to open database"));
    m_database = std::make_unique<Database>(m_ctx.settings.readConnectionString());
    if (m_database->open())
        return true;
    m_ctx.logStatus(QStringLiteral("database error: ") + m_database->lastError());
    if (feedback == Feedback::ShowDialog)
        showConnectionError(m_ctx);
    return false;
}

void Session::close()
{
    m_database.reset();
    if (m_wrote) {
        m_wrote = false;
        if (m_ctx.accountsWritten)
            m_ctx.accountsWritten();
    }
}

bool Session::isOpen() const
{
    return m_database && m_database->isOpen();
}

Engine Session::engine() const
{
    return m_database ? m_database->engine() : Engine::Unknown;
}

bool Session::execute(const QString& sql)
{
    if (!m_database)
        return false;
    if (m_database->execute(sql)) {
        m_wrote = true;
        return true;
    }
    reportDatabaseError(m_ctx, m_database->lastError());
    return false;
}

bool Session::executeIgnoringErrors(const QString& sql, Database::Text text)
{
    const bool done = m_database && m_database->execute(sql, text);
    m_wrote = m_wrote || done;
    return done;
}

Rows Session::select(const QString& sql)
{
    if (!m_database)
        return {};
    Rows rows = m_database->select(sql);
    if (!rows.isValid())
        reportDatabaseError(m_ctx, m_database->lastError());
    return rows;
}

Transaction::Transaction(Session& session)
    : m_session(session)
{
    Database* database = session.database();
    if (!database || !database->isOpen())
        return;
    if (database->engine() == Engine::Access) {
        m_usable = true;
        return;
    }
    m_open = database->beginTransaction();
    if (!m_open)
        reportDatabaseError(session.context(), database->lastError());
    m_usable = m_open;
}

Transaction::~Transaction()
{
    if (m_open)
        m_session.database()->rollback();
}

bool Transaction::commit()
{
    if (!m_open)
        return m_usable;
    m_open = false;
    Database* database = m_session.database();
    if (database->commit())
        return true;
    reportDatabaseError(m_session.context(), database->lastError());
    database->rollback();
    return false;
}

void showConnectionError(AppContext& context)
{
    const QString text = QStringLiteral(
        "There was an error connecting to the database. The list below contains possible cause:\r\n"
        "\r\n"
        "    \u00B7 Connection string has an incorrect path\r\n"
        "    \u00B7 The database is locked\r\n"
        "    \u00B7 You do not have rights\r\n"
        "    \u00B7 The connection might be slow\r\n"
        "\r\n"
        "Would you like to verify your connection string settings now?\r\n");
    // No ends the program, so Escape or the close box must not stand for it.
    prompt::Message box{appinfo::Title, text, prompt::Icon::Exclamation, prompt::Buttons::YesNo, std::nullopt};
    box.buttonOnly = true;
    const auto answer = context.prompter.message(box);
    if (answer == prompt::Answer::Yes) {
        if (context.repairConnection)
            context.repairConnection();
        return;
    }
    endAfterConnectionFailure(context);
}

void reportDatabaseError(AppContext& context, const QString& engineError)
{
    context.logStatus(QStringLiteral("database error: ") + engineError);
    context.prompter.tell(appinfo::Title,
                          QStringLiteral("The database specified may have incorrect tables or be missing.\r\n"
                                         "Please check your database and your connection string."),
                          prompt::Icon::Exclamation);
}
