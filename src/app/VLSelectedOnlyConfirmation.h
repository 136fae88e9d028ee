#pragma once

#include <functional>

class QMessageBox;
class QWidget;
struct VLSelectedOnlyWarning;

// Asks, window-modal over `parent`, before "sync selected fandecks only" goes on: names what the
// next sync removes from the device. `turnOn` runs only when the user confirms; the box deletes
// itself when it closes.
QMessageBox *vlAskToTurnOnSelectedOnly(
    QWidget *parent, const VLSelectedOnlyWarning &warning, std::function<void()> turnOn);
