#include "db/SqlDialect.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

// Splits the statement into pieces that alternate between code and string
// literals ('...' with '' inside), so that rewriting never touches a value.
QStringList splitLiterals(const QString& sql)
{
    QStringList pieces;
    QString current;
    bool inLiteral = false;
    for (int i = 0; i < sql.size(); ++i) {
        const QChar c = sql.at(i);
        if (!inLiteral && c == QLatin1Char('\'')) {
            pieces.append(current);
            current = c;
            inLiteral = true;
        } else if (inLiteral && c == QLatin1Char('\'')) {
            if (i + 1 < sql.size() && sql.at(i + 1) == QLatin1Char('\'')) {
                current += QStringLiteral("''");
                ++i;
            } else {
                current += c;
                pieces.append(current);
                current.clear();
                inLiteral = false;
            }
        } else {
            current += c;
        }
    }
    pieces.append(current);
    return pieces; // even indexes are code, odd indexes are literals
}

QString dropBrackets(const QString& code)
{
    static const QRegularExpression bracketed(QStringLiteral("\\[([^\\[\\]]*)\\]"));
    QString result = code;
    return result.replace(bracketed, QStringLiteral("\\1"));
}

// Drops "table." before each column assigned in the SET list of an UPDATE. The
// SET list ends at WHERE; assignments follow SET or a comma.
QStringList unqualifySetTargets(const QStringList& pieces)
{
    static const QRegularExpression updateTable(QStringLiteral("^\\s*update\\s+([\\w\\[\\]\\.]+)\\s+set\\b"),
                                                QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch update = updateTable.match(pieces.value(0));
    QStringList out = pieces;
    if (!update.hasMatch())
        return out;
    QString table = update.captured(1);
    table.remove(QLatin1Char('[')).remove(QLatin1Char(']'));
    if (table.contains(QLatin1Char('.')))
        table = table.section(QLatin1Char('.'), -1);
    const QRegularExpression qualifiedTarget(
        QStringLiteral("(\\bset\\s+|,\\s*)\\[?%1\\]?\\.(\\[?\\w+\\]?\\s*=)").arg(QRegularExpression::escape(table)),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression where(QStringLiteral("\\bwhere\\b"), QRegularExpression::CaseInsensitiveOption);
    for (int i = 0; i < out.size(); i += 2) {
        const int whereAt = static_cast<int>(out[i].indexOf(where));
        QString head = whereAt < 0 ? out[i] : out[i].left(whereAt);
        const QString tail = whereAt < 0 ? QString() : out[i].mid(whereAt);
        head.replace(qualifiedTarget, QStringLiteral("\\1\\2"));
        out[i] = head + tail;
        if (whereAt >= 0)
            break;
    }
    return out;
}

} // namespace

QString rewriteForEngine(Engine engine, const QString& sql)
{
    if (engine != Engine::Sqlite && engine != Engine::PostgreSql)
        return sql;
    QStringList pieces = unqualifySetTargets(splitLiterals(sql));
    if (engine == Engine::PostgreSql) {
        for (int i = 0; i < pieces.size(); i += 2)
            pieces[i] = dropBrackets(pieces[i]);
    }
    return pieces.join(QString());
}
