#include "Catalog.h"

#include "DeviceFiles.h"
#include "FandeckGenerator.h"

#include <VLPathComponent.h>
#include <VLRecordSignature.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Catalog", text);
}

bool fail(VLError *error, const QString &text)
{
    if (error)
        *error = VLError(CatalogErrorDomain, 1, text);
    return false;
}

// "M/D/YYYY h:mm:ss AM|PM", the service's date format (hours 1 to 12).
QString versionDateText(const QDateTime &date)
{
    const int hour = date.time().hour();
    const int twelve = hour % 12 == 0 ? 12 : hour % 12;
    return QStringLiteral("%1/%2/%3 %4:%5:%6 %7")
        .arg(date.date().month())
        .arg(date.date().day())
        .arg(date.date().year())
        .arg(twelve)
        .arg(date.time().minute(), 2, 10, QLatin1Char('0'))
        .arg(date.time().second(), 2, 10, QLatin1Char('0'))
        .arg(hour < 12 ? QStringLiteral("AM") : QStringLiteral("PM"));
}

QDateTime at(int year, int month, int day, int hour, int minute)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC);
}

struct FandeckPlan {
    FandeckRecipe recipe;
    QString SKU;
    QString deviceFileID;
};

QList<FandeckPlan> fandeckPlans(int edition)
{
    const bool newer = edition >= 2;
    auto plan = [](QString name, QString prefix, QString SKU, QString deviceFileID, QString supplier,
                   FandeckRecipe::Palette palette, int count, double labOnly, QString editionName,
                   QString version, QDateTime date) {
        FandeckPlan p;
        p.recipe.name = name;
        p.recipe.guid = catalogGuid(QStringLiteral("fandeck/") + name);
        p.recipe.edition = editionName;
        p.recipe.supplier = supplier;
        p.recipe.version = version;
        p.recipe.numberPrefix = prefix;
        p.recipe.colorCount = count;
        p.recipe.labOnlyShare = labOnly;
        p.recipe.palette = palette;
        p.recipe.creationDate = date;
        p.SKU = SKU;
        p.deviceFileID = deviceFileID;
        return p;
    };
    const QString velmora = QStringLiteral("Velmora Paints");
    using Palette = FandeckRecipe::Palette;
    return {
        newer ? plan(QStringLiteral("Velmora Interiors"), QStringLiteral("VI"), QStringLiteral("VLM-FD-INT"),
                     QStringLiteral("FD101"), velmora, Palette::Interior, 1250, 0.03, QStringLiteral("Interiors 2026"),
                     QStringLiteral("1.1"), at(2026, 2, 3, 10, 15))
              : plan(QStringLiteral("Velmora Interiors"), QStringLiteral("VI"), QStringLiteral("VLM-FD-INT"),
                     QStringLiteral("FD101"), velmora, Palette::Interior, 1200, 0.03, QStringLiteral("Interiors 2025"),
                     QStringLiteral("1.0"), at(2025, 3, 14, 9, 30)),
        plan(QStringLiteral("Velmora Exteriors"), QStringLiteral("VX"), QStringLiteral("VLM-FD-EXT"),
             QStringLiteral("FD102"), velmora, Palette::Exterior, 600, 0.03, QStringLiteral("Exteriors 2025"),
             QStringLiteral("1.0"), at(2025, 4, 2, 14, 5)),
        plan(QStringLiteral("Heritage Classics"), QStringLiteral("HC"), QStringLiteral("ALD-FD-HERITAGE"),
             QStringLiteral("FD103"), QStringLiteral("Aldwick & Sons"), Palette::Heritage, 360, 0.25,
             QStringLiteral("Heritage 1998"), QStringLiteral("2.3"), at(2024, 11, 20, 8, 45)),
        newer ? plan(QStringLiteral("Accent Brights"), QStringLiteral("AB"), QStringLiteral("VLM-FD-ACCENT"),
                     QStringLiteral("FD104"), velmora, Palette::Bright, 260, 0.02, QStringLiteral("Accents 2026"),
                     QStringLiteral("1.1"), at(2026, 1, 12, 16, 40))
              : plan(QStringLiteral("Accent Brights"), QStringLiteral("AB"), QStringLiteral("VLM-FD-ACCENT"),
                     QStringLiteral("FD104"), velmora, Palette::Bright, 240, 0.02, QStringLiteral("Accents 2025"),
                     QStringLiteral("1.0"), at(2025, 5, 30, 11, 20)),
        plan(QStringLiteral("Designer Whites"), QStringLiteral("DW"), QStringLiteral("VLM-FD-WHITES"),
             QStringLiteral("FD105"), velmora, Palette::White, 200, 0.0, QStringLiteral("Whites 2025"),
             QStringLiteral("1.0"), at(2025, 6, 18, 15, 0)),
    };
}

QList<double> notes(std::initializer_list<double> frequencies)
{
    return QList<double>(frequencies);
}

} // namespace

QList<CatalogFile> catalogFiles(int edition)
{
    const bool newer = edition >= 2;
    QList<CatalogFile> files;
    for (const FandeckPlan &plan : fandeckPlans(edition)) {
        CatalogFile file;
        file.fileID = plan.recipe.guid;
        file.deviceFileID = plan.deviceFileID;
        file.fileType = QStringLiteral("Fandeck");
        file.fileName = QStringLiteral("%1-%2.cxf").arg(plan.SKU, plan.recipe.version);
        file.description = plan.recipe.name;
        file.SKU = plan.SKU;
        file.versionString = plan.recipe.version;
        file.versionDate = versionDateText(plan.recipe.creationDate);
        const FandeckRecipe recipe = plan.recipe;
        file.makePayload = [recipe] { return makeFandeck(recipe)->dataRepresentation(nullptr); };
        files << file;
    }

    auto device = [&files](QString type, QString description, QString SKU, QString deviceFileID, QString version,
                           QDateTime date, QString extension, std::function<QByteArray()> payload) {
        CatalogFile file;
        file.fileID = catalogGuid(QStringLiteral("device-file/") + SKU);
        file.deviceFileID = deviceFileID;
        file.fileType = type;
        file.fileName = QStringLiteral("%1-%2.%3").arg(SKU, version, extension);
        file.description = description;
        file.SKU = SKU;
        file.versionString = version;
        file.versionDate = versionDateText(date);
        file.makePayload = std::move(payload);
        files << file;
    };

    const QString firmwareVersion = newer ? QStringLiteral("2.5") : QStringLiteral("2.4");
    device(QStringLiteral("Firmware"), QStringLiteral("TX350 Firmware"), QStringLiteral("TX350-FW"),
           QStringLiteral("firmware.bin"), firmwareVersion, newer ? at(2026, 2, 10, 9, 0) : at(2025, 3, 1, 9, 0),
           QStringLiteral("bin"), [firmwareVersion] { return makeFirmwareImage("VLMFW", firmwareVersion, 262144); });
    device(QStringLiteral("Bootloader"), QStringLiteral("TX350 Bootloader"), QStringLiteral("TX350-BL"),
           QStringLiteral("bootloader.bin"), QStringLiteral("1.3"), at(2024, 9, 9, 10, 30), QStringLiteral("bin"),
           [] { return makeFirmwareImage("VLMBL", QStringLiteral("1.3"), 32768); });
    device(QStringLiteral("MeasurementScreen"), QStringLiteral("Measurement Screen Wallpaper"),
           QStringLiteral("TX350-WALLPAPER"), QStringLiteral("wallpaper.bmp"),
           newer ? QStringLiteral("1.1") : QStringLiteral("1.0"), newer ? at(2026, 1, 20, 13, 10) : at(2025, 3, 1, 9, 5),
           QStringLiteral("bmp"), [newer] { return makeBitmap(240, 320, newer ? 2 : 0); });
    device(QStringLiteral("WelcomeScreen"), QStringLiteral("Welcome Screen"), QStringLiteral("TX350-WELCOME"),
           QStringLiteral("welcome.bmp"), QStringLiteral("1.0"), at(2025, 3, 1, 9, 10), QStringLiteral("bmp"),
           [] { return makeBitmap(240, 320, 1); });
    device(QStringLiteral("StartSound"), QStringLiteral("Start Sound"), QStringLiteral("TX350-SOUND-START"),
           QStringLiteral("start.wav"), QStringLiteral("1.0"), at(2025, 3, 1, 9, 15), QStringLiteral("wav"),
           [] { return makeWave(notes({523.25, 659.25, 783.99}), 90); });
    device(QStringLiteral("EndSound"), QStringLiteral("End Sound"), QStringLiteral("TX350-SOUND-END"),
           QStringLiteral("end.wav"), QStringLiteral("1.0"), at(2025, 3, 1, 9, 20), QStringLiteral("wav"),
           [] { return makeWave(notes({783.99, 659.25, 523.25}), 90); });
    device(QStringLiteral("MulticolorSound"), QStringLiteral("Multicolor Sound"), QStringLiteral("TX350-SOUND-MULTI"),
           QStringLiteral("multicolor.wav"), newer ? QStringLiteral("1.1") : QStringLiteral("1.0"),
           newer ? at(2026, 1, 20, 13, 25) : at(2025, 3, 1, 9, 25), QStringLiteral("wav"), [newer] {
               return newer ? makeWave(notes({587.33, 739.99, 880.0, 1174.66}), 70)
                            : makeWave(notes({523.25, 659.25, 783.99, 1046.5}), 70);
           });
    device(QStringLiteral("InversionMatrix"), QStringLiteral("Inversion Matrix"), QStringLiteral("TX350-INVMATRIX"),
           QStringLiteral("inversion.mat"), QStringLiteral("1.0"), at(2025, 3, 1, 9, 30), QStringLiteral("mat"),
           [] { return makeInversionMatrix(31, 8, 350); });
    device(QStringLiteral("DeviceSettings"), QStringLiteral("Device Settings"), QStringLiteral("TX350-SETTINGS"),
           QStringLiteral("settings.xml"), newer ? QStringLiteral("1.1") : QStringLiteral("1.0"),
           newer ? at(2026, 2, 10, 9, 30) : at(2025, 3, 1, 9, 35), QStringLiteral("xml"), [newer] {
               return newer ? makeDeviceSettings({QStringLiteral("2.5"), QStringLiteral("VLM-FD-EXT"),
                                                  QStringLiteral("0.75"), QStringLiteral("2.0"), QStringLiteral("1.0"),
                                                  QStringLiteral("1.0")})
                            : makeDeviceSettings({QStringLiteral("3.0"), QStringLiteral("VLM-FD-INT"),
                                                  QStringLiteral("0.5"), QStringLiteral("1.0"), QStringLiteral("1.0"),
                                                  QStringLiteral("1.0")});
           });
    return files;
}

namespace {

bool writeFile(const QString &path, const QByteArray &data, VLError *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return fail(error, tr("Could not write %1: %2").arg(path, file.errorString()));
    return true;
}

} // namespace

QByteArray demoSigningKeyPem()
{
    // A fixed key keeps the catalog the same from run to run. Everybody can sign with it, so only
    // the demo and the tests trust it.
    return VLRecordSigning::privateKeyPemFromSeed(
        QCryptographicHash::hash("TINTERA demo catalog signing key", QCryptographicHash::Sha256));
}

bool writeCatalog(const QString &directory, int edition, VLError *error)
{
    QDir root(directory);
    if (!root.mkpath(QStringLiteral("files")))
        return fail(error, tr("Could not create %1").arg(root.filePath(QStringLiteral("files"))));
    const QByteArray signingKey = demoSigningKeyPem();
    if (!root.mkpath(QStringLiteral("trusted-keys"))
        || !writeFile(root.filePath(QStringLiteral("trusted-keys/demo.pem")), VLRecordSigning::publicKeyPem(signingKey),
                      error))
        return fail(error, tr("Could not write the demo key into %1").arg(root.filePath(QStringLiteral("trusted-keys"))));
    QJsonArray records;
    for (const CatalogFile &file : catalogFiles(edition)) {
        if (!vlIsPlainPathComponent(file.fileName))
            return fail(error, tr("Not a plain file name: %1").arg(file.fileName));
        const QByteArray payload = file.makePayload();
        if (payload.isEmpty())
            return fail(error, tr("Could not make %1").arg(file.fileName));
        if (!writeFile(root.filePath(QStringLiteral("files/") + file.fileName), payload, error))
            return false;
        QJsonObject record{
            {QStringLiteral("FileID"), file.fileID},
            {QStringLiteral("DeviceFileID"), file.deviceFileID},
            {QStringLiteral("FileType"), file.fileType},
            {QStringLiteral("FileURL"), QStringLiteral("files/") + file.fileName},
            {QStringLiteral("ByteLength"), QString::number(payload.size())},
            {QStringLiteral("Description"), file.description},
            {QStringLiteral("SKU"), file.SKU},
            {QStringLiteral("VersionString"), file.versionString},
            {QStringLiteral("VersionDate"), file.versionDate},
            {QStringLiteral("SHA256"),
             QString::fromLatin1(QCryptographicHash::hash(payload, QCryptographicHash::Sha256).toHex())},
        };
        const QByteArray signature =
            VLRecordSigning::sign(signingKey, vlFileRecordSigningText(record.toVariantMap()));
        if (signature.isEmpty())
            return fail(error, tr("Could not sign the record of %1").arg(file.fileName));
        record.insert(QStringLiteral("Signature"), QString::fromLatin1(signature));
        records.append(record);
    }
    const QJsonObject index{{QStringLiteral("edition"), edition}, {QStringLiteral("files"), records}};
    return writeFile(root.filePath(QStringLiteral("index.json")), QJsonDocument(index).toJson(QJsonDocument::Indented),
                     error);
}

QByteArray largeFandeckData(int colorCount)
{
    FandeckRecipe recipe;
    recipe.name = QStringLiteral("Velmora Benchmark %1").arg(colorCount);
    recipe.guid = catalogGuid(QStringLiteral("fandeck/") + recipe.name);
    recipe.edition = QStringLiteral("Benchmark");
    recipe.supplier = QStringLiteral("Velmora Paints");
    recipe.version = QStringLiteral("1.0");
    recipe.numberPrefix = QStringLiteral("BM");
    recipe.colorCount = colorCount;
    recipe.creationDate = at(2025, 1, 1, 0, 0);
    return makeFandeck(recipe)->dataRepresentation(nullptr);
}

bool writeLargeFandeck(const QString &path, int colorCount, VLError *error)
{
    const QByteArray data = largeFandeckData(colorCount);
    if (data.isEmpty())
        return fail(error, tr("Could not make the fandeck"));
    return writeFile(path, data, error);
}
