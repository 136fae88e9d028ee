#include "VLRecordSignature.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cctype>
#include <vector>

namespace {

// A key folder is the user's or the package's own: these only keep a mistake from costing much.
constexpr qint64 kMaximumKeyFileBytes = 16 * 1024;
constexpr qsizetype kMaximumKeys = 64;
constexpr int kEd25519SignatureBytes = 64;
constexpr int kEd25519KeyBytes = 32;

struct PkeyDeleter {
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
};
struct BioDeleter {
    void operator()(BIO *bio) const { BIO_free(bio); }
};
struct MdCtxDeleter {
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};
using Pkey = std::unique_ptr<EVP_PKEY, PkeyDeleter>;
using Bio = std::unique_ptr<BIO, BioDeleter>;
using MdCtx = std::unique_ptr<EVP_MD_CTX, MdCtxDeleter>;

Bio memoryBio(const QByteArray &bytes)
{
    return Bio(BIO_new_mem_buf(bytes.constData(), int(bytes.size())));
}

QByteArray bioContents(BIO *bio)
{
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return length > 0 ? QByteArray(data, length) : QByteArray();
}

bool isEd25519(const EVP_PKEY *key)
{
    return key && EVP_PKEY_get_base_id(key) == EVP_PKEY_ED25519;
}

Pkey readPrivateKey(const QByteArray &pem)
{
    const Bio bio = memoryBio(pem);
    Pkey key(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr);
    return isEd25519(key.get()) ? std::move(key) : Pkey();
}

} // namespace

QByteArray vlFileRecordSigningText(const QVariantMap &record)
{
    static const char *const fields[] = {"FileID", "SKU", "FileType", "VersionString", "ByteLength", "SHA256"};
    QByteArray text("TINTERA file record 1\n");
    for (const char *field : fields) {
        QByteArray value = record.value(QLatin1String(field)).toString().toUtf8();
        if (qstrcmp(field, "SHA256") == 0)
            value = value.toLower();
        if (value.contains('\n') || value.contains('\r'))
            return {};
        text += QByteArray(field) + '=' + value + '\n';
    }
    return text;
}

QByteArray vlEd25519PublicKeyFromPem(const QByteArray &pem)
{
    // An Ed25519 public key has one DER form: this prefix (a SubjectPublicKeyInfo naming the
    // algorithm 1.3.101.112, without parameters) and the 32 bytes of the key. Reading exactly that
    // keeps key files away from a general decoder, and a general decoder's caches out of the tray.
    static const QByteArray prefix = QByteArray::fromHex("302a300506032b6570032100");
    static const QByteArray begin("-----BEGIN PUBLIC KEY-----");
    static const QByteArray end("-----END PUBLIC KEY-----");
    const qsizetype from = pem.indexOf(begin);
    const qsizetype to = from < 0 ? -1 : pem.indexOf(end, from + begin.size());
    if (to < 0)
        return {};
    QByteArray body;
    for (const char c : QByteArrayView(pem).sliced(from + begin.size(), to - from - begin.size())) {
        if (!std::isspace(static_cast<unsigned char>(c)))
            body += c;
    }
    const auto der = QByteArray::fromBase64Encoding(body, QByteArray::AbortOnBase64DecodingErrors);
    if (!der || der.decoded.size() != prefix.size() + kEd25519KeyBytes || !der.decoded.startsWith(prefix))
        return {};
    return der.decoded.mid(prefix.size());
}

struct VLTrustedKeys::Keys {
    std::vector<Pkey> keys;
};

VLTrustedKeys::VLTrustedKeys()
    : m_keys(std::make_unique<Keys>())
{
}

VLTrustedKeys::~VLTrustedKeys() = default;
VLTrustedKeys::VLTrustedKeys(VLTrustedKeys &&) noexcept = default;
VLTrustedKeys &VLTrustedKeys::operator=(VLTrustedKeys &&) noexcept = default;

VLTrustedKeys VLTrustedKeys::fromFolders(const QStringList &folders)
{
    VLTrustedKeys trusted;
    for (const QString &folder : folders) {
        if (folder.isEmpty() || !QFileInfo(folder).isDir())
            continue;
        const QFileInfoList files = QDir(folder).entryInfoList({QStringLiteral("*.pem"), QStringLiteral("*.pub")},
                                                               QDir::Files | QDir::Readable, QDir::Name);
        for (const QFileInfo &entry : files) {
            if (trusted.count() >= kMaximumKeys) {
                trusted.m_problems << QStringLiteral("%1: more than %2 keys, the rest is not read").arg(folder).arg(kMaximumKeys);
                return trusted;
            }
            QFile file(entry.filePath());
            if (entry.size() > kMaximumKeyFileBytes || !file.open(QIODevice::ReadOnly)
                || !trusted.addPublicKeyPem(file.read(kMaximumKeyFileBytes)))
                trusted.m_problems << QStringLiteral("%1: not an Ed25519 public key").arg(entry.filePath());
        }
    }
    return trusted;
}

bool VLTrustedKeys::addPublicKeyPem(const QByteArray &pem)
{
    const QByteArray raw = vlEd25519PublicKeyFromPem(pem);
    Pkey key(raw.isEmpty() ? nullptr
                           : EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr,
                                                         reinterpret_cast<const unsigned char *>(raw.constData()),
                                                         size_t(raw.size())));
    if (!isEd25519(key.get()))
        return false;
    m_keys->keys.push_back(std::move(key));
    return true;
}

qsizetype VLTrustedKeys::count() const
{
    return qsizetype(m_keys->keys.size());
}

bool VLTrustedKeys::verify(const QByteArray &text, const QByteArray &signatureBase64) const
{
    const auto decoded = QByteArray::fromBase64Encoding(signatureBase64.trimmed(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != kEd25519SignatureBytes || text.isEmpty())
        return false;
    const auto *signature = reinterpret_cast<const unsigned char *>(decoded.decoded.constData());
    const auto *message = reinterpret_cast<const unsigned char *>(text.constData());
    for (const Pkey &key : m_keys->keys) {
        const MdCtx context(EVP_MD_CTX_new());
        if (context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1
            && EVP_DigestVerify(context.get(), signature, kEd25519SignatureBytes, message, size_t(text.size())) == 1)
            return true;
    }
    return false;
}

namespace VLRecordSigning {

QByteArray privateKeyPemFromSeed(const QByteArray &seed)
{
    if (seed.size() != 32)
        return {};
    const Pkey key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr,
                                                reinterpret_cast<const unsigned char *>(seed.constData()), 32));
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!key || !bio || PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
        return {};
    return bioContents(bio.get());
}

QByteArray publicKeyPem(const QByteArray &privateKeyPem)
{
    const Pkey key = readPrivateKey(privateKeyPem);
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!key || !bio || PEM_write_bio_PUBKEY(bio.get(), key.get()) != 1)
        return {};
    return bioContents(bio.get());
}

QByteArray sign(const QByteArray &privateKeyPem, const QByteArray &text)
{
    const Pkey key = readPrivateKey(privateKeyPem);
    const MdCtx context(EVP_MD_CTX_new());
    if (!key || !context || text.isEmpty()
        || EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return {};
    QByteArray signature(kEd25519SignatureBytes, '\0');
    size_t length = size_t(signature.size());
    if (EVP_DigestSign(context.get(), reinterpret_cast<unsigned char *>(signature.data()), &length,
                       reinterpret_cast<const unsigned char *>(text.constData()), size_t(text.size()))
        != 1)
        return {};
    signature.resize(qsizetype(length));
    return signature.toBase64();
}

} // namespace VLRecordSigning
