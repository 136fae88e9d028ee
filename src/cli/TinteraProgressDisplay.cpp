#include "TinteraProgressDisplay.h"

#include "VLFormat.h"

#include <QByteArray>
#include <QCoreApplication>

#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

const char *const kClearLine = "\r\x1b[2K";

QString tr(const char *text)
{
    return QCoreApplication::translate("tintera", text);
}

} // namespace

TinteraProgressDisplay::TinteraProgressDisplay(FILE *stream, Mode mode)
    : m_stream(stream)
    , m_mode(mode)
{
}

TinteraProgressDisplay::Mode TinteraProgressDisplay::modeForStream(FILE *stream)
{
    const QByteArray term = qgetenv("TERM");
    if (::isatty(::fileno(stream)) && term != "dumb" && !term.isEmpty())
        return Mode::Live;
    return Mode::Plain;
}

QString TinteraProgressDisplay::progressBar(double fraction, int cells)
{
    if (!std::isfinite(fraction) || cells <= 0)
        return QString();
    const double clamped = std::clamp(fraction, 0.0, 1.0);
    const int filled = int(std::lround(clamped * cells));
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(cells - filled, QLatin1Char('-'))
        + QLatin1Char(']') + vlFormat(" %3d%%", int(std::lround(clamped * 100)));
}

QString TinteraProgressDisplay::liveLine(int step, int totalSteps, const QString &message, double download, int width)
{
    const int digits = int(QString::number(totalSteps).size());
    QString line = vlFormat("step %*d of %d  %@", digits, step, totalSteps, message);
    if (download >= 0 && std::isfinite(download))
        line += QStringLiteral("  ") + progressBar(download, 20);
    if (width > 0 && line.size() > width)
        line.truncate(width);
    return line;
}

void TinteraProgressDisplay::beginRun(const QString &title, int totalSteps, const QString &staleMessage)
{
    m_totalSteps = totalSteps;
    m_step = 0;
    m_message.clear();
    m_printedMessage = staleMessage;
    m_download = -1;
    m_lastQuarter = -1;
    printLine(title);
}

void TinteraProgressDisplay::update(int step, const QString &message)
{
    if (step <= 0 || (step == m_step && message == m_message))
        return;
    const bool newStep = step != m_step;
    m_step = step;
    m_message = message;
    if (newStep) {
        m_download = -1;
        m_lastQuarter = -1;
    }
    if (m_mode == Mode::Live) {
        redraw();
        return;
    }
    // The manager moves to the next step before it names it: a line per new message reads as one
    // line per step, without the previous step's message repeated under the new number.
    if (message == m_printedMessage || message.isEmpty())
        return;
    m_printedMessage = message;
    const int digits = int(QString::number(m_totalSteps).size());
    write(vlFormat("  step %*d of %d  %@\n", digits, step, m_totalSteps, message));
}

void TinteraProgressDisplay::runBegan(Run run, int totalSteps, const QString &staleMessage)
{
    beginRun(run == Run::Preliminary ? tr("Gathering fandeck information") : tr("Syncing"), totalSteps, staleMessage);
}

void TinteraProgressDisplay::syncFailed(const VLError &error)
{
    printLine(vlFormat(tr("Error code %d, %@"), error.code(), error.localizedDescription()));
}

void TinteraProgressDisplay::stalled(int seconds, int step, const QString &message, bool givingUp)
{
    printLine(givingUp ? vlFormat(tr("The sync did not stop within %d s of the cancel; giving up."), seconds)
                       : vlFormat(tr("No progress for %d s at step %d (%@): cancelling the sync."), seconds, step, message));
}

void TinteraProgressDisplay::downloadProgress(double fraction)
{
    if (!std::isfinite(fraction)) {
        m_download = -1;
        return;
    }
    // A smaller fraction than before is the next file.
    if (fraction < m_download)
        m_lastQuarter = -1;
    m_download = fraction;
    if (m_mode == Mode::Live) {
        redraw();
        return;
    }
    const int quarter = int(std::floor(std::clamp(fraction, 0.0, 1.0) * 4));
    if (quarter > m_lastQuarter && quarter > 0) {
        m_lastQuarter = quarter;
        write(vlFormat("    download %3d%%\n", quarter * 25));
    }
}

void TinteraProgressDisplay::downloadFinished()
{
    m_download = -1;
    m_lastQuarter = -1;
    if (m_mode == Mode::Live)
        redraw();
}

void TinteraProgressDisplay::endRun()
{
    if (m_mode == Mode::Live && m_liveLineShown) {
        write(QString::fromLatin1(kClearLine));
        m_liveLineShown = false;
    }
    m_step = 0;
    m_download = -1;
}

void TinteraProgressDisplay::printLine(const QString &line)
{
    if (m_mode == Mode::Live && m_liveLineShown) {
        write(QString::fromLatin1(kClearLine) + line + QLatin1Char('\n'));
        redraw();
        return;
    }
    write(line + QLatin1Char('\n'));
}

void TinteraProgressDisplay::redraw()
{
    if (m_step <= 0)
        return;
    write(QString::fromLatin1(kClearLine) + liveLine(m_step, m_totalSteps, m_message, m_download, terminalWidth() - 1));
    m_liveLineShown = true;
}

void TinteraProgressDisplay::write(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), m_stream);
    std::fflush(m_stream);
}

int TinteraProgressDisplay::terminalWidth() const
{
    struct winsize size = {};
    if (::ioctl(::fileno(m_stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}
