// A device-settings file (XML) as the service offers it: its six values read by their paths and
// sent on as the arguments of "SetDeltaE", which must encode into a frame the device can read.

#include "FuzzSupport.h"
#include "KDCommand.h"
#include "KDWireProtocol.h"
#include "TinteraFuzzTargets.h"
#include "VLDeviceSettings.h"
#include "VLPropertyList.h"

int tinteraFuzzDeviceSettings(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    const VLDeviceSettings settings = VLDeviceSettings::fromXml(tinteraFuzzBytes(data, size));
    if (!settings.parsed)
        return 0;
    const KDCommandPtr deltaE = settings.deltaECommand();
    (void)settings.priorityFandeckID.size();
    const QVariantMap header{{KDWire::KindKey, KDWire::KindCommand},
                             {KDWire::IdKey, 1},
                             {KDWire::CommandKey, deltaE->name()},
                             {KDWire::ArgumentsKey, deltaE->arguments()}};
    VLError error;
    const QByteArray frame = KDWire::encodeFrameStart(header, 0, &error);
    TINTERA_FUZZ_CHECK(!frame.isEmpty(), "the settings' command encodes");
    const QVariant decoded = VLPropertyList::fromData(frame.mid(KDWire::kPrefixLength));
    TINTERA_FUZZ_CHECK(decoded.toMap().value(KDWire::ArgumentsKey) == QVariant(deltaE->arguments()),
                       "the device reads the settings' arguments as they were sent");
    return 0;
}
