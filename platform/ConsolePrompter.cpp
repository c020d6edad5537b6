#include "platform/ConsolePrompter.h"

#include <QStringList>

prompt::Answer ConsolePrompter::message(const prompt::Message& message)
{
    // One line per line of the box, each after the caption, so that a log keeps them together.
    QString text = message.text;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        std::fprintf(m_stream, "%s: %s\n", qUtf8Printable(message.caption), qUtf8Printable(line.trimmed()));
    std::fflush(m_stream);
    return prompt::defaultAnswerOf(message);
}
