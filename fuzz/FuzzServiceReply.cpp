// The body of a reply of the sync web service: judged as the client judges it (text, XML, status),
// decoded into its dictionary tree, and read as the file list of "GetAvailableFiles".

#include "FuzzFileRecords.h"
#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"
#include "VLDescription.h"
#include "VLSyncReply.h"
#include "VLSyncSession.h"
#include "VLXMLDictionary.h"

int tinteraFuzzServiceReply(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    const QByteArray body = tinteraFuzzBytes(data, size);
    // One HTTP status per input, from its length, so that both kinds are judged without parsing
    // every body twice.
    const int httpStatus = size % 4 == 3 ? 500 : 200;
    const VLSyncReplyOutcome outcome = vlEvaluateSyncReply(body, httpStatus);
    TINTERA_FUZZ_CHECK(outcome.isXML == outcome.result.has_value(), "a reply is decoded exactly when it is XML");
    TINTERA_FUZZ_CHECK(outcome.error.isNull() == (httpStatus == 200 && outcome.isXML && outcome.statusCode == 0),
                       "a reply fails exactly when it is not XML, not HTTP 200 or has a status code");
    if (outcome.result)
        (void)vlDescribe(*outcome.result);
    tinteraFuzzExerciseFileRecords(VLSyncSession::filesFromAllFilesReply(VLXMLDictionaryForXMLData(body)));
    tinteraFuzzDrainEvents();
    return 0;
}
