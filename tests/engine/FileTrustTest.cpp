// What may be fetched and what may go to the device: the record's signature against the trusted
// keys, and the bytes against the record.

#include "TestSupport.h"
#include "VLFileDigest.h"
#include "VLFileTrust.h"
#include "VLRecordSignature.h"
#include "VLSyncFileInfo.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

#include <functional>

#include <gtest/gtest.h>

namespace {

const QByteArray kPayload("firmware bytes, as the service published them");

QByteArray keyFromSeed(const char *seed)
{
    return VLRecordSigning::privateKeyPemFromSeed(QCryptographicHash::hash(seed, QCryptographicHash::Sha256));
}

const QByteArray &trustedKey()
{
    static const QByteArray key = keyFromSeed("trusted");
    return key;
}

QVariantMap signedRecord(const QByteArray &key = trustedKey())
{
    QVariantMap record{{"FileID", "fw-1"},
                       {"SKU", "TX350-FW"},
                       {"FileType", "Firmware"},
                       {"Description", "Firmware"},
                       {"VersionString", "2.4"},
                       {"ByteLength", QString::number(kPayload.size())},
                       {"SHA256", QCryptographicHash::hash(kPayload, QCryptographicHash::Sha256).toHex().toUpper()}};
    record.insert("Signature", QString::fromLatin1(VLRecordSigning::sign(key, vlFileRecordSigningText(record))));
    return record;
}

struct RecordCase
{
    const char *name;
    std::function<QVariantMap()> record;
    bool requireSigned;
    qint64 expected; // 0: accepted
};

class FileTrustRecords : public ::testing::TestWithParam<RecordCase>
{
};

TEST_P(FileTrustRecords, AcceptOnlyWhatATrustedKeyVouchesFor)
{
    VLTrustedKeys keys;
    ASSERT_TRUE(keys.addPublicKeyPem(VLRecordSigning::publicKeyPem(trustedKey())));
    const VLFileTrust trust(std::move(keys), GetParam().requireSigned);
    const VLError error = trust.checkRecord(VLSyncFileInfo(GetParam().record()));
    EXPECT_EQ(error.code(), GetParam().expected) << qPrintable(error.description());
    if (!error.isNull()) {
        EXPECT_EQ(error.domain(), VLFileTrustErrorDomain);
        EXPECT_TRUE(error.localizedDescription().contains("Firmware 2.")) << "names the file";
    }
}

QVariantMap with(QVariantMap record, const QString &key, const QVariant &value)
{
    if (value.isNull())
        record.remove(key);
    else
        record.insert(key, value);
    return record;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FileTrustRecords,
    ::testing::Values(
        RecordCase{"signed", [] { return signedRecord(); }, true, 0},
        RecordCase{"unsignedAcceptedByDefault", [] { return with(signedRecord(), "Signature", {}); }, false, 0},
        RecordCase{"unsignedRefusedWhenRequired", [] { return with(signedRecord(), "Signature", {}); }, true,
                   VLFileTrustErrorUnsigned},
        // Every field the signature covers is held to it.
        RecordCase{"versionChanged", [] { return with(signedRecord(), "VersionString", "2.5"); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"checksumChanged", [] { return with(signedRecord(), "SHA256", QString(64, 'a')); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"lengthChanged", [] { return with(signedRecord(), "ByteLength", "1"); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"lineBreakInAField", [] { return with(signedRecord(), "SKU", "TX350-FW\nSHA256=00"); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"untrustedKey", [] { return signedRecord(keyFromSeed("someone else")); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"signatureNotBase64", [] { return with(signedRecord(), "Signature", "not*base64"); }, false,
                   VLFileTrustErrorSignatureRefused},
        RecordCase{"signedWithoutChecksum", [] { return with(signedRecord(), "SHA256", {}); }, false,
                   VLFileTrustErrorMalformedRecord},
        RecordCase{"checksumNotHex", [] { return with(with(signedRecord(), "Signature", {}), "SHA256", "xyz"); }, false,
                   VLFileTrustErrorMalformedRecord}),
    [](const ::testing::TestParamInfo<RecordCase> &row) { return std::string(row.param.name); });

struct PayloadCase
{
    const char *name;
    QByteArray bytes;
    bool withChecksum;
    qint64 expected;
};

class FileTrustPayloads : public ::testing::TestWithParam<PayloadCase>
{
};

TEST_P(FileTrustPayloads, PassOnlyTheBytesTheRecordNames)
{
    QTemporaryDir folder;
    const QString path = folder.filePath("payload");
    writeFile(path, GetParam().bytes);
    QVariantMap record = signedRecord();
    if (!GetParam().withChecksum)
        record.remove("SHA256");
    const VLError error = VLFileTrust().checkPayload(VLSyncFileInfo(record), path);
    EXPECT_EQ(error.code(), GetParam().expected) << qPrintable(error.description());
}

QByteArray flippedBit(QByteArray bytes)
{
    bytes[7] = char(bytes[7] ^ 0x01);
    return bytes;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FileTrustPayloads,
    ::testing::Values(PayloadCase{"published", kPayload, true, 0},
                      PayloadCase{"oneBitFlipped", flippedBit(kPayload), true, VLFileTrustErrorChecksumMismatch},
                      PayloadCase{"oneBitFlippedNoChecksum", flippedBit(kPayload), false, 0},
                      PayloadCase{"shorter", kPayload.left(10), false, VLFileTrustErrorChecksumMismatch}),
    [](const ::testing::TestParamInfo<PayloadCase> &row) { return std::string(row.param.name); });

// Key files are read by hand, so every way a key text can be off is tried: only a "PUBLIC KEY" block
// holding an Ed25519 key is one, however its lines are broken.
TEST(FileTrust, AKeyFileHoldsOneEd25519PublicKeyBlock)
{
    const QByteArray pem = VLRecordSigning::publicKeyPem(trustedKey());
    const QByteArray body = pem.mid(pem.indexOf('\n'), pem.indexOf("-----END") - pem.indexOf('\n')).trimmed();
    const QByteArray der = QByteArray::fromBase64(body);
    ASSERT_EQ(der.size(), 44);
    const auto block = [](const QByteArray &bytes) {
        return "-----BEGIN PUBLIC KEY-----\n" + bytes.toBase64() + "\n-----END PUBLIC KEY-----\n";
    };
    QByteArray x25519 = der;
    x25519[8] = 0x6e; // the same layout naming X25519, a key for agreement and not for signatures
    const struct {
        const char *name;
        QByteArray text;
        bool accepted;
    } rows[] = {
        {"as written", pem, true},
        {"Windows line ends", QByteArray(pem).replace("\n", "\r\n"), true},
        {"a comment above", "# the vendor's key\n" + pem, true},
        {"base64 broken over lines", QByteArray(pem).replace(body, body.left(20) + "\n  " + body.mid(20)), true},
        {"a private key", trustedKey(), false},
        {"an X25519 key", block(x25519), false},
        {"one byte short", block(der.left(43)), false},
        {"one byte over", block(der + 'x'), false},
        {"not base64", QByteArray(pem).replace(body.left(4), "!!!!"), false},
        {"no end line", pem.left(pem.indexOf("-----END")), false},
        {"empty", QByteArray(), false},
    };
    const QByteArray text("TINTERA file record 1\n");
    for (const auto &row : rows) {
        VLTrustedKeys keys;
        EXPECT_EQ(keys.addPublicKeyPem(row.text), row.accepted) << row.name;
        if (row.accepted) {
            EXPECT_TRUE(keys.verify(text, VLRecordSigning::sign(trustedKey(), text))) << row.name;
        }
    }
}

TEST(FileTrust, KeysComeFromFoldersAndAnythingElseThereIsPassedOver)
{
    QTemporaryDir folder;
    writeFile(folder.filePath("vendor.pem"), VLRecordSigning::publicKeyPem(trustedKey()));
    writeFile(folder.filePath("private.pem"), trustedKey()); // a private key is no trusted public key
    writeFile(folder.filePath("notes.txt"), "ignored");
    const VLTrustedKeys keys = VLTrustedKeys::fromFolders({folder.path(), folder.filePath("missing")});
    EXPECT_EQ(keys.count(), 1);
    EXPECT_EQ(keys.problems().size(), 1);
    EXPECT_FALSE(VLFileTrust::unverifiableWarning(VLSyncFileInfo(with(signedRecord(), "SHA256", {}))).isEmpty());
    EXPECT_TRUE(VLFileTrust::unverifiableWarning(VLSyncFileInfo(signedRecord())).isEmpty());
}

} // namespace
