#pragma once

#include "VLError.h"
#include "VLRecordSignature.h"

#include <QString>
#include <QStringList>

class VLSyncFileInfo;

extern const QString VLFileTrustErrorDomain;

enum VLFileTrustErrorCode : qint64 {
    VLFileTrustErrorChecksumMismatch = 1, // the bytes are not the ones the service published
    VLFileTrustErrorSignatureRefused = 2, // the record's signature verifies against no trusted key
    VLFileTrustErrorUnsigned = 3,         // no signature, and only signed files are accepted
    VLFileTrustErrorMalformedRecord = 4,  // a checksum that is no SHA-256, or a signature without one
    VLFileTrustErrorUnreadable = 5,       // the bytes cannot be read to be checked
};

// What decides whether a file the service lists may be fetched and whether bytes on disk may go to
// the device: the record's Ed25519 signature against the trusted keys, and the bytes against the
// record's length and SHA-256. Records without a signature are accepted unless signatures are
// required; a record that carries one is held to it.
class VLFileTrust
{
public:
    VLFileTrust() = default;
    VLFileTrust(VLTrustedKeys keys, bool requireSigned);

    // The keys of trustedKeyFolders(), with the given policy.
    static VLFileTrust load(bool requireSigned);
    // The package's own keys ("keys" in its data folder, or TINTERA_TRUSTED_KEYS instead), then the
    // user's ("Trusted Keys" in the application's data folder).
    static QStringList trustedKeyFolders();

    bool requiresSignatures() const { return m_requireSigned; }
    const VLTrustedKeys &keys() const { return m_keys; }

    // Null when the record may be fetched.
    VLError checkRecord(const VLSyncFileInfo &file) const;
    // Null when the file at `path` holds exactly the record's bytes: its length and, where the
    // record gives one, its SHA-256.
    VLError checkPayload(const VLSyncFileInfo &file, const QString &path) const;
    // A firmware or bootloader the service gives no checksum for, said in the sync's messages;
    // empty for any other file.
    static QString unverifiableWarning(const VLSyncFileInfo &file);

private:
    VLTrustedKeys m_keys;
    bool m_requireSigned = false;
};
