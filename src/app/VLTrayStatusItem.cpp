#include "VLTrayStatusItem.h"

#include <QAction>
#include <QCursor>
#include <QMenu>

#include <utility>

namespace {
constexpr qint64 kMessageClickMs = 500;
}

VLTrayStatusItem::VLTrayStatusItem(const QString &applicationTitle, QObject *parent)
    : QObject(parent)
    , m_applicationTitle(applicationTitle)
    , m_titleLine(new QAction(this))
    , m_titleSeparator(new QAction(this))
{
    m_titleLine->setEnabled(false);
    m_titleLine->setObjectName(QStringLiteral("statusTitleLine"));
    m_titleSeparator->setSeparator(true);
    connect(&m_tray, &QSystemTrayIcon::activated, this, &VLTrayStatusItem::handleActivation);
    connect(&m_tray, &QSystemTrayIcon::messageClicked, this, [this] {
        if (auto clicked = std::exchange(m_messageClicked, nullptr))
            clicked();
        // From the end of what the click opened: a modal window holds the release until it closes.
        m_messageClickedAt.start();
    });
    showTitle();
}

VLTrayStatusItem::~VLTrayStatusItem()
{
    if (m_menu) {
        m_menu->removeAction(m_titleLine);
        m_menu->removeAction(m_titleSeparator);
    }
}

void VLTrayStatusItem::setImage(const QIcon &image)
{
    m_tray.setIcon(image);
    // Shown even when no tray is there yet: a tray that starts later embeds the icon.
    if (!m_tray.isVisible() && !image.isNull())
        m_tray.show();
}

QIcon VLTrayStatusItem::image() const
{
    return m_tray.icon();
}

void VLTrayStatusItem::setTitle(const QString &title)
{
    m_title = title;
    showTitle();
}

QString VLTrayStatusItem::title() const
{
    return m_title;
}

void VLTrayStatusItem::setMenu(QMenu *menu)
{
    if (m_menu) {
        m_menu->removeAction(m_titleLine);
        m_menu->removeAction(m_titleSeparator);
    }
    m_menu = menu;
    if (menu) {
        QAction *first = menu->actions().value(0);
        menu->insertAction(first, m_titleLine);
        menu->insertAction(first, m_titleSeparator);
    }
    m_tray.setContextMenu(menu);
    showTitle();
}

QMenu *VLTrayStatusItem::menu() const
{
    return m_menu;
}

void VLTrayStatusItem::setHighlightMode(bool)
{
    // Trays highlight their items themselves.
}

void VLTrayStatusItem::showMessage(const QString &title, const QString &text, bool warning,
                                   std::function<void()> onClicked)
{
    m_messageClicked = std::move(onClicked);
    m_tray.showMessage(title, text, warning ? QSystemTrayIcon::Warning : QSystemTrayIcon::Information, 15000);
}

void VLTrayStatusItem::handleActivation(QSystemTrayIcon::ActivationReason reason)
{
    // A message drawn over the icon closes on the press, and the release then lands on the icon:
    // that is not a click on the icon.
    if (m_messageClickedAt.isValid() && m_messageClickedAt.elapsed() < kMessageClickMs)
        return;
    // The context menu opens on a right click by itself; a left click opens it here.
    if ((reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) && m_menu && !m_menu->isVisible())
        m_menu->popup(QCursor::pos());
}

void VLTrayStatusItem::showTitle()
{
    // The title starts with a space in menu-bar style (" Syncing..."); a tooltip has no use for it.
    const QString shown = m_title.trimmed();
    m_tray.setToolTip(shown.isEmpty() ? m_applicationTitle : m_applicationTitle + QStringLiteral("\n") + shown);
    m_titleLine->setText(shown);
    m_titleLine->setVisible(!shown.isEmpty());
    m_titleSeparator->setVisible(!shown.isEmpty());
}
