#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// Ed25519 signatures over the text that identifies one published file: its id, SKU, type,
// version, length and SHA-256. The cryptography is OpenSSL's; nothing here computes a hash or a
// signature by itself.

// The exact text a file record's "Signature" covers. Empty when a field holds a line break, which
// would let two different records share one text: such a record cannot be signed or verified.
QByteArray vlFileRecordSigningText(const QVariantMap &record);

// The 32 bytes of the Ed25519 public key a PEM "PUBLIC KEY" block holds; empty when the text holds no
// such block or the block is another kind of key.
QByteArray vlEd25519PublicKeyFromPem(const QByteArray &pem);

// Ed25519 public keys a signature may verify against.
class VLTrustedKeys
{
public:
    VLTrustedKeys();
    ~VLTrustedKeys();
    VLTrustedKeys(VLTrustedKeys &&) noexcept;
    VLTrustedKeys &operator=(VLTrustedKeys &&) noexcept;

    // Every "*.pem" or "*.pub" file of the folders holding one PEM Ed25519 public key; other files,
    // and folders that do not exist, are passed over (listed in problems()).
    static VLTrustedKeys fromFolders(const QStringList &folders);

    // Adds one PEM public key; false when it is not an Ed25519 public key.
    bool addPublicKeyPem(const QByteArray &pem);
    qsizetype count() const;
    QStringList problems() const { return m_problems; }

    // True when `signatureBase64` is a valid Ed25519 signature of `text` by one of the keys.
    bool verify(const QByteArray &text, const QByteArray &signatureBase64) const;

private:
    struct Keys;
    std::unique_ptr<Keys> m_keys;
    QStringList m_problems;
};

// Signing, for the tools that publish a catalog.
namespace VLRecordSigning {
// The private key made from a 32-byte seed, as PEM (PKCS#8); empty when the seed is not 32 bytes.
QByteArray privateKeyPemFromSeed(const QByteArray &seed);
// The public half of a PEM private key, as PEM; empty when it is not an Ed25519 key.
QByteArray publicKeyPem(const QByteArray &privateKeyPem);
// Base64 of the Ed25519 signature of `text`; empty when the key cannot sign.
QByteArray sign(const QByteArray &privateKeyPem, const QByteArray &text);
} // namespace VLRecordSigning
