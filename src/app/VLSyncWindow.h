#pragma once

#include <QWidget>

// A window of this application that closes with the close-window shortcut (see VLApplication).
// The class adds nothing but its identity.
class VLSyncWindow : public QWidget
{
    Q_OBJECT
public:
    explicit VLSyncWindow(QWidget *parent = nullptr);
};
