#pragma once

#include <QApplication>

class QKeyEvent;

// The application object. It gives VLSyncWindows the close-window shortcut (Ctrl+W; Cmd+W on
// macOS, where Qt reports Command as the control modifier) and passes URLs that the system opens
// with the application (macOS delivers them as file-open events) to urlOpened.
class VLApplication : public QApplication
{
    Q_OBJECT
public:
    VLApplication(int &argc, char **argv);

    bool notify(QObject *receiver, QEvent *event) override;

    // The key press that closes the active VLSyncWindow: the control (command) modifier held and
    // the characters typed exactly "w"; with Shift the characters are "W" and the key passes on.
    static bool isCloseWindowShortcut(const QKeyEvent &event);

signals:
    void urlOpened(const QString &url);

protected:
    bool event(QEvent *event) override;
};

// The characters a key press types, as they would be without the control modifier: X11 turns
// Ctrl+W into the control character U+0017, which says nothing about the letter and its case.
QString vlKeyEventCharacters(const QKeyEvent &event);
