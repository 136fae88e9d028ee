#include "VLApplication.h"

#include "VLSyncWindow.h"

#include <QFileOpenEvent>
#include <QKeyEvent>

VLApplication::VLApplication(int &argc, char **argv)
    : QApplication(argc, argv)
{
}

QString vlKeyEventCharacters(const QKeyEvent &event)
{
    const QString text = event.text();
    const bool controlCharacter = text.size() == 1 && text.at(0).unicode() < 0x20;
    if (!controlCharacter && !text.isEmpty())
        return text;
    const int key = event.key();
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        const QChar letter(QLatin1Char(char('a' + (key - Qt::Key_A))));
        return (event.modifiers() & Qt::ShiftModifier) ? QString(letter.toUpper()) : QString(letter);
    }
    return text;
}

bool VLApplication::isCloseWindowShortcut(const QKeyEvent &event)
{
    return event.type() == QEvent::KeyPress && (event.modifiers() & Qt::ControlModifier)
        && vlKeyEventCharacters(event) == QLatin1String("w");
}

bool VLApplication::notify(QObject *receiver, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && isCloseWindowShortcut(*static_cast<QKeyEvent *>(event))) {
        if (auto *window = qobject_cast<VLSyncWindow *>(activeWindow())) {
            window->close();
            return true;
        }
    }
    return QApplication::notify(receiver, event);
}

bool VLApplication::event(QEvent *event)
{
    if (event->type() == QEvent::FileOpen) {
        const auto *open = static_cast<QFileOpenEvent *>(event);
        const QString url = open->url().isValid() && !open->url().isLocalFile() ? open->url().toString() : open->file();
        if (!url.isEmpty())
            emit urlOpened(url);
        return true;
    }
    return QApplication::event(event);
}
