#pragma once

#include "VLStatusItem.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

class QAction;

// A status item on QSystemTrayIcon. A tray slot has room for an icon only, so the title goes into
// the tooltip and into a disabled first line of the menu, and a left click opens the menu as a right
// click does (the way a menu-bar item behaves).
class VLTrayStatusItem : public QObject, public VLStatusItem
{
    Q_OBJECT
public:
    explicit VLTrayStatusItem(const QString &applicationTitle, QObject *parent = nullptr);
    ~VLTrayStatusItem() override;

    void setImage(const QIcon &image) override;
    QIcon image() const override;
    void setTitle(const QString &title) override;
    QString title() const override;
    void setMenu(QMenu *menu) override;
    QMenu *menu() const override;
    void setHighlightMode(bool highlight) override;
    void showMessage(const QString &title, const QString &text, bool warning, std::function<void()> onClicked) override;

    QSystemTrayIcon *trayIcon() { return &m_tray; }
    // The disabled line at the top of the menu that shows the title; hidden while there is none.
    QAction *titleLine() const { return m_titleLine; }
    void handleActivation(QSystemTrayIcon::ActivationReason reason);

private:
    void showTitle();

    QString m_applicationTitle;
    QString m_title;
    QSystemTrayIcon m_tray;
    QPointer<QMenu> m_menu;
    QAction *m_titleLine;
    QAction *m_titleSeparator;
    std::function<void()> m_messageClicked;
    QElapsedTimer m_messageClickedAt;
};
