#pragma once

#include "VLError.h"

#include <QList>
#include <QString>

// What a person can do about the errors of a sync. Most causes pass (a dropped link, a busy
// service, a device that did not answer) and the next sync mends them; some stay until the person
// acts, and telling them to sync again only sends them round the same failure.
bool vlSyncAgainHelps(const VLError &error);
// For an error syncing again does not mend: what helps instead; empty when there is nothing a
// person can do about it (a fault of the program itself).
QString vlSyncErrorRemedy(const VLError &error);
// The sentence after a run's errors: "Please sync again in order to fix these errors." when that
// helps with any of them, else the remedies of the others, each once; empty when none has one.
QString vlSyncErrorsAdvice(const QList<VLError> &errors);
