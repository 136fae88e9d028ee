#include "VLSystemStatusItem.h"

#include "VLTrayStatusItem.h"

std::shared_ptr<VLStatusItem> vlCreateSystemStatusItem(const QString &applicationTitle)
{
    return std::make_shared<VLTrayStatusItem>(applicationTitle);
}
