// Writes the application's pictures and its help document at build time, so that the images in the
// program and the installed icons always come from the drawing code and the help text in the tree.
//
//   velmora-assetgen OUTPUT_FOLDER HELP_TEXT.md [--preview]
//
// OUTPUT_FOLDER receives the five status-item frames (22 px and @2x), "TINTERA_logo.png", the
// desktop icons under icons/hicolor/ and "TINTERA_Sync_Utility_help.pdf". --preview also writes
// "frames-preview.png": every frame on a light and a dark panel, for people to look at.

#include "VLDeviceIconPainter.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QMarginsF>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTextDocument>

#include <cstdio>

namespace {

constexpr int kTraySize = 22;
constexpr int kLogoSize = 128;
const int kDesktopIconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

QImage deviceImage(int size, int wheelStep)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    VLDeviceIconPainter::paintDevice(painter, QRectF(0, 0, size, size), wheelStep);
    return image;
}

bool save(const QImage &image, const QString &path)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()) || !image.save(path, "PNG")) {
        std::fprintf(stderr, "velmora-assetgen: cannot write %s\n", qPrintable(path));
        return false;
    }
    return true;
}

bool writeFrames(const QString &folder)
{
    for (int i = 0; i < VLDeviceIconPainter::kAnimationFrameCount; ++i) {
        const QString base = folder + QStringLiteral("/TinteraDeviceLogoAnim%1").arg(i + 1);
        if (!save(deviceImage(kTraySize, i), base + QStringLiteral(".png"))
            || !save(deviceImage(2 * kTraySize, i), base + QStringLiteral("@2x.png")))
            return false;
    }
    return true;
}

bool writeIcons(const QString &folder)
{
    if (!save(deviceImage(kLogoSize, 0), folder + QStringLiteral("/TINTERA_logo.png")))
        return false;
    for (int size : kDesktopIconSizes) {
        const QString path = folder + QStringLiteral("/icons/hicolor/%1x%1/apps/tintera-sync.png").arg(size);
        if (!save(deviceImage(size, 0), path))
            return false;
    }
    return true;
}

bool writePreview(const QString &folder)
{
    constexpr int zoom = 4;
    constexpr int cell = kTraySize * zoom + 16;
    const QColor panels[] = {QColor(0xf2, 0xf2, 0xf2), QColor(0x2d, 0x2d, 0x2d)};
    QImage sheet(cell * VLDeviceIconPainter::kAnimationFrameCount, cell * 2 + kTraySize * 2 + 24,
                 QImage::Format_ARGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    for (int row = 0; row < 2; ++row) {
        painter.fillRect(0, row * cell, sheet.width(), cell, panels[row]);
        for (int i = 0; i < VLDeviceIconPainter::kAnimationFrameCount; ++i) {
            const QImage frame = deviceImage(kTraySize, i);
            painter.drawImage(QRect(i * cell + 8, row * cell + 8, kTraySize * zoom, kTraySize * zoom), frame);
        }
    }
    // Real size, as a tray shows them.
    const int top = 2 * cell + 8;
    for (int row = 0; row < 2; ++row) {
        painter.fillRect(0, top + row * (kTraySize + 8) - 4, sheet.width(), kTraySize + 8, panels[row]);
        for (int i = 0; i < VLDeviceIconPainter::kAnimationFrameCount; ++i)
            painter.drawImage(i * (kTraySize + 8) + 8, top + row * (kTraySize + 8), deviceImage(kTraySize, i));
    }
    painter.end();
    return save(sheet, folder + QStringLiteral("/frames-preview.png"));
}

bool writeHelp(const QString &helpTextPath, const QString &folder)
{
    QFile source(helpTextPath);
    if (!source.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "velmora-assetgen: cannot read %s\n", qPrintable(helpTextPath));
        return false;
    }
    QTextDocument document;
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(10.5);
    document.setDefaultFont(font);
    document.setMarkdown(QString::fromUtf8(source.readAll()));

    const QString path = folder + QStringLiteral("/TINTERA_Sync_Utility_help.pdf");
    QPdfWriter writer(path);
    writer.setTitle(QStringLiteral("TINTERA Sync Help"));
    writer.setCreator(QStringLiteral("TINTERA Sync"));
    writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, QMarginsF(20, 20, 20, 20),
                                     QPageLayout::Millimeter));
    writer.setResolution(300);
    document.print(&writer);
    if (!QFileInfo(path).isFile() || QFileInfo(path).size() == 0) {
        std::fprintf(stderr, "velmora-assetgen: cannot write %s\n", qPrintable(path));
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    // Fonts for the help document need a GUI application; no window is ever shown.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 3) {
        std::fprintf(stderr, "usage: velmora-assetgen OUTPUT_FOLDER HELP_TEXT.md [--preview]\n");
        return 2;
    }
    const QString folder = arguments.at(1);
    bool ok = QDir().mkpath(folder) && writeFrames(folder) && writeIcons(folder) && writeHelp(arguments.at(2), folder);
    if (ok && arguments.contains(QStringLiteral("--preview")))
        ok = writePreview(folder);
    return ok ? 0 : 1;
}
