#pragma once

#include "VLFormat.h"

#include <QObject>
#include <QString>
#include <QStringList>

// The process-wide logger. log() hands every line to the crash reporter's log; logAddText() keeps
// a separate, bounded buffer of time-stamped lines for the debug view. There are no levels.
class TSLogger : public QObject
{
    Q_OBJECT
public:
    static TSLogger *defaultLogger();
    static TSLogger *consoleLogger();
    static TSLogger *loggerWithFacility(const QString &facility);

    // printf-style, "%@" for a description. Use the VL_LOG macro, which supplies the caller's
    // name and line for the leading "%s: L%d: ".
    template <typename... A>
    void log(const char *format, const A &...arguments)
    {
        logMessage(vlFormat(QString::fromUtf8(format), arguments...));
    }
    void logMessage(const QString &message);

    void logAddText(const QString &text);
    QString logText() const;

    QStringList &logTextMutableArr();
    void setLogTextMutableArr(const QStringList &lines);
    QString facility() const;

    static constexpr qsizetype kMaxBufferedLines = 1000;

private:
    TSLogger() = default;
    QStringList m_logTextMutableArr;
};

// Turns a compiler signature ("void VLSyncManager::startSync()", or a lambda inside it) into the
// qualified function name "VLSyncManager::startSync".
QByteArray vlQualifiedFunctionName(const char *prettyFunction);

#define VL_LOG(format, ...)                                                                        \
    do {                                                                                           \
        static const QByteArray vlLogFunctionName_ = vlQualifiedFunctionName(__PRETTY_FUNCTION__); \
        TSLogger::defaultLogger()->log("%s: L%d: " format, vlLogFunctionName_.constData(),         \
                                       __LINE__ __VA_OPT__(, ) __VA_ARGS__);                       \
    } while (0)
