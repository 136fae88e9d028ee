#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

// Zip archives through the system's zip, unzip and zipinfo tools, run directly (no shell) with
// fixed arguments. Each call blocks until the tool exits.
class VLZip : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    QString sourceFilename() const;
    void setSourceFilename(const QString &path);
    QString password() const;
    void setPassword(const QString &password);

    bool zipToFilename(const QString &archivePath) const;
    bool unzipToDirectory(const QString &folder = QString()) const;
    QStringList contents() const;

    // Where the tools live: /usr/bin unless configured (or TINTERA_ZIP_TOOLS names another folder).
    static QString zipTool();
    static QString unzipTool();
    static QString zipinfoTool();
    static void setToolFolder(const QString &folder);

private:
    static bool run(const QString &tool, const QStringList &arguments, QByteArray *standardOutput = nullptr);

    QString m_sourceFilename;
    QString m_password;
};
