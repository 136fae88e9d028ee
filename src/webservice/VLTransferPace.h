#pragma once

#include "VLError.h"

#include <functional>

class QNetworkReply;

// The least a transfer from the service must move. Qt's transfer time-out only counts silence, so a
// service that sends one byte every few seconds would hold a request or a download for ever; this
// ends it once a window passes with fewer than the minimum bytes. TINTERA_TRANSFER_WINDOW_MS and
// TINTERA_TRANSFER_MINIMUM_BYTES change the window and the minimum (tests use short windows).
namespace VLTransferPace {

int windowMilliseconds();
qint64 minimumBytes();

// Watches the reply until it finishes; calls `tooSlow` at most once, with the error that names
// the cause, and leaves ending the transfer to it.
void watch(QNetworkReply *reply, std::function<void(const VLError &error)> tooSlow);

} // namespace VLTransferPace
