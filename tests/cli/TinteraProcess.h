#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>

// One run of the built tintera program, with the environment of the test process (the demo
// environment's variables included).
struct TinteraRun
{
    int exitCode = -1;
    bool crashed = false;
    QString out;
    QString err;
};

// `whileRunning` is called each time the program writes to its standard output, with the output
// so far and the process id; it returns false once it has done its work.
TinteraRun runTintera(const QStringList &arguments, int timeoutMilliseconds = 120000,
                      const std::function<bool(const QString &out, qint64 pid)> &whileRunning = {});

// What the command line's output pieces wrote to a temporary file in place of a terminal.
class CapturedStream
{
public:
    CapturedStream() : m_file(std::tmpfile()) {}
    ~CapturedStream() { std::fclose(m_file); }
    FILE *file() const { return m_file; }
    QString text() const
    {
        std::fflush(m_file);
        QByteArray bytes(std::ftell(m_file), '\0');
        std::rewind(m_file);
        bytes.truncate(qsizetype(std::fread(bytes.data(), 1, size_t(bytes.size()), m_file)));
        return QString::fromUtf8(bytes);
    }

private:
    FILE *m_file;
};
