// A file of a trusted-keys folder, as whoever can write there left it: it holds one Ed25519 public
// key or none, and a key read from it is the one the file names.

#include "FuzzSupport.h"
#include "TinteraFuzzTargets.h"
#include "VLRecordSignature.h"

int tinteraFuzzTrustedKey(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    const QByteArray bytes = tinteraFuzzBytes(data, size);
    const QByteArray key = vlEd25519PublicKeyFromPem(bytes);
    TINTERA_FUZZ_CHECK(key.isEmpty() || key.size() == 32, "an Ed25519 public key is 32 bytes");
    VLTrustedKeys keys;
    const bool added = keys.addPublicKeyPem(bytes);
    // OpenSSL may still refuse 32 bytes that are no point of the curve; it never takes what was not read.
    TINTERA_FUZZ_CHECK(!added || !key.isEmpty(), "only a key that was read is trusted");
    if (added)
        (void)keys.verify("TINTERA file record 1\n", QByteArray(86, 'A') + "==");
    return 0;
}
