#pragma once

#include "TinteraRunObserver.h"

#include <QString>

#include <cstdio>

// Shows a running sync on a stream: on a terminal one live line (step n of total, the status
// message, a download bar) redrawn in place; otherwise plain lines, one per change of step or
// message and one per quarter of a download, so logs and pipes stay readable.
class TinteraProgressDisplay : public TinteraRunObserver
{
public:
    enum class Mode { Live, Plain };

    explicit TinteraProgressDisplay(FILE *stream, Mode mode = modeForStream(stdout));
    // Live on a terminal that can redraw a line, plain everywhere else.
    static Mode modeForStream(FILE *stream);

    // `staleMessage`: the message left from an earlier run, not to be shown again as this run's.
    void beginRun(const QString &title, int totalSteps, const QString &staleMessage = QString());
    void update(int step, const QString &message);
    // A fraction of the current file; a value that is not finite (length unknown) shows no bar.
    void downloadProgress(double fraction) override;
    void downloadFinished() override;
    void endRun();
    // A lasting line; on a terminal it goes above the live line.
    void printLine(const QString &line);

    // ---- as a sync runner's observer ----
    void runBegan(Run run, int totalSteps, const QString &staleMessage) override;
    void stepChanged(int step, const QString &message) override { update(step, message); }
    // The errors a run collects are listed once it ends, not while it runs.
    void errorCollected(const VLError &) override {}
    void syncFailed(const VLError &error) override;
    void stalled(int seconds, int step, const QString &message, bool givingUp) override;
    void runEnded() override { endRun(); }

    static QString liveLine(int step, int totalSteps, const QString &message, double download, int width);
    static QString progressBar(double fraction, int cells);

private:
    void redraw();
    void write(const QString &text);
    int terminalWidth() const;

    FILE *m_stream;
    Mode m_mode;
    int m_totalSteps = 0;
    int m_step = 0;
    QString m_message;
    QString m_printedMessage;
    double m_download = -1; // negative: no download under way
    int m_lastQuarter = -1;
    bool m_liveLineShown = false;
};
