#include "VLSyncWindow.h"

VLSyncWindow::VLSyncWindow(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
}
