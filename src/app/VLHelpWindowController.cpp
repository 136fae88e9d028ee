#include "VLHelpWindowController.h"

#include "VLAlertPresenter.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFile>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

VLHelpWindowController::VLHelpWindowController(QWidget *parent, QObject *owner)
    : QObject(owner)
    , m_window(new QDialog(parent, Qt::Window))
{
    m_window->setObjectName(QStringLiteral("helpWindow"));
    m_window->setWindowTitle(vlApplicationTitle());
    m_text = new QTextBrowser(m_window);
    m_text->setObjectName(QStringLiteral("helpTextView"));
    m_text->setOpenExternalLinks(true);
    m_text->setMarkdown(helpText());
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, m_window);
    connect(buttons, &QDialogButtonBox::rejected, m_window, &QDialog::close);
    auto *layout = new QVBoxLayout(m_window);
    layout->addWidget(m_text);
    layout->addWidget(buttons);
    m_window->resize(640, 560);
}

VLHelpWindowController::~VLHelpWindowController()
{
    delete m_window.data();
}

void VLHelpWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

QString VLHelpWindowController::helpText()
{
    QFile file(QStringLiteral(":/app/TINTERA_Sync_Utility_help.md"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}
