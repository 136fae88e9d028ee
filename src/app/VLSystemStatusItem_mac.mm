#include "VLSystemStatusItem.h"

#include "VLTrayStatusItem.h"

// QSystemTrayIcon is an NSStatusItem on macOS. Qt gives no access to the item's own title, so the
// title shows the same way as on Linux: in the tooltip and the first line of the menu.
std::shared_ptr<VLStatusItem> vlCreateSystemStatusItem(const QString &applicationTitle)
{
    return std::make_shared<VLTrayStatusItem>(applicationTitle);
}
