#include "TSLogger.h"

#include "Fabric.h"

#include <QDateTime>
#include <QLocale>

TSLogger *TSLogger::defaultLogger()
{
    static TSLogger *logger = new TSLogger; // function-local static: created once even under races
    return logger;
}

TSLogger *TSLogger::consoleLogger()
{
    return defaultLogger();
}

TSLogger *TSLogger::loggerWithFacility(const QString &)
{
    return defaultLogger();
}

void TSLogger::logMessage(const QString &message)
{
    CLSLog("%@", message);
}

void TSLogger::logAddText(const QString &text)
{
    const QLocale locale;
    const QDateTime now = QDateTime::currentDateTime();
    const QString stamp = locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ')
        + locale.toString(now.time(), QLocale::LongFormat);
    m_logTextMutableArr.append(vlFormat(QStringLiteral("%@ %@"), stamp, text));
    if (m_logTextMutableArr.size() > kMaxBufferedLines)
        m_logTextMutableArr.remove(0, m_logTextMutableArr.size() - kMaxBufferedLines);
}

QString TSLogger::logText() const
{
    QString text;
    for (const QString &line : m_logTextMutableArr)
        text += QLatin1Char('\n') + line;
    return text;
}

QStringList &TSLogger::logTextMutableArr()
{
    return m_logTextMutableArr;
}

void TSLogger::setLogTextMutableArr(const QStringList &lines)
{
    m_logTextMutableArr = lines;
}

QString TSLogger::facility() const
{
    return {};
}

QByteArray vlQualifiedFunctionName(const char *prettyFunction)
{
    const QByteArray signature(prettyFunction);
    // The name ends at the first "(" outside template brackets, except the one in "operator()".
    qsizetype end = -1;
    int angle = 0;
    for (qsizetype i = 0; i < signature.size(); ++i) {
        const char c = signature.at(i);
        if (c == '<')
            ++angle;
        else if (c == '>' && angle > 0)
            --angle;
        else if (c == '(' && angle == 0) {
            if (signature.left(i).endsWith("operator")) {
                ++i; // skip "()" of operator()
                continue;
            }
            end = i;
            break;
        }
    }
    if (end < 0)
        return signature;
    // It starts after the last blank outside template brackets (the return type ends there).
    qsizetype begin = 0;
    angle = 0;
    for (qsizetype i = end - 1; i >= 0; --i) {
        const char c = signature.at(i);
        if (c == '>')
            ++angle;
        else if (c == '<' && angle > 0)
            --angle;
        else if ((c == ' ' || c == '*' || c == '&') && angle == 0) {
            begin = i + 1;
            break;
        }
    }
    return signature.mid(begin, end - begin);
}
