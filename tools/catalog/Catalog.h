#pragma once

#include <VLError.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <functional>

// One file of the demo catalog: its service record and a way to make its bytes.
struct CatalogFile {
    QString fileID;
    QString deviceFileID;
    QString fileType;
    QString fileName;    // plain name inside "files/"
    QString description;
    QString SKU;
    QString versionString;
    QString versionDate; // "M/D/YYYY h:mm:ss AM|PM"
    std::function<QByteArray()> makePayload;
};

// The files of an edition (1 = first; 2 = some fandecks and device files newer), fandecks first.
QList<CatalogFile> catalogFiles(int edition);

// Writes DIR/index.json and DIR/files/<name> for every file of the edition, every record with the
// file's SHA-256 and signed by the demo key, whose public half goes to DIR/trusted-keys/demo.pem.
bool writeCatalog(const QString &directory, int edition, VLError *error);

// The demo catalog's private signing key (PEM).
QByteArray demoSigningKeyPem();

// CxF3 text of a stand-alone fandeck of `colorCount` colours, every one with a 31-band spectrum.
QByteArray largeFandeckData(int colorCount);

// Writes one stand-alone fandeck of `colorCount` colours, every one with a 31-band spectrum.
bool writeLargeFandeck(const QString &path, int colorCount, VLError *error);

inline const QString CatalogErrorDomain = QStringLiteral("CatalogErrorDomain");
