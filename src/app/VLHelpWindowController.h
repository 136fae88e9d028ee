#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class QDialog;
class QTextBrowser;

// The help text in a window of the application's own, for desktops where no viewer opens the
// help document.
class VLHelpWindowController : public QObject
{
    Q_OBJECT
public:
    explicit VLHelpWindowController(QWidget *parent = nullptr, QObject *owner = nullptr);
    ~VLHelpWindowController() override;

    void showWindow();
    QDialog *window() const { return m_window.data(); }
    QTextBrowser *textView() const { return m_text; }
    // The help text as written (Markdown), from the application's resources.
    static QString helpText();

private:
    QPointer<QDialog> m_window;
    QTextBrowser *m_text = nullptr;
};
