#include "VLNotifier.h"

namespace {

// No notification service is spoken to here: the status item's own message says it.
class VLStatusItemOnlyNotifier : public VLNotifier
{
public:
    bool notify(const QString &, const QString &, bool, const QList<Action> &, ActionHandler) override { return false; }
};

} // namespace

std::shared_ptr<VLNotifier> vlCreateSystemNotifier()
{
    return std::make_shared<VLStatusItemOnlyNotifier>();
}
