// GIMP palette text, as GIMP, Inkscape, Krita and Scribus load it:
//
//   GIMP Palette
//   Name: <palette name>
//   Columns: <columns to show>
//   #
//   <red> <green> <blue><TAB><colour name>
//
// with 0-255 components, one colour per line. Lines starting with '#' are comments; each colour is
// preceded by one that carries what a palette has no column for (fandeck, CIELAB, capture).
#include "VLMatchRecordWriter.h"

#include <QStringList>

namespace {

// One line of text: palette readers split on line breaks and stop names at the line's end.
QString oneLine(const QString &text)
{
    QString line;
    line.reserve(text.size());
    for (const QChar c : text)
        line += (c.category() == QChar::Other_Control || c == QChar::LineSeparator || c == QChar::ParagraphSeparator)
            ? QLatin1Char(' ')
            : c;
    return line.simplified();
}

class GPLWriter : public VLMatchRecordWriter
{
public:
    QByteArray dataForRecords(const VLMatchRecordList &records, VLError *) const override
    {
        QString text = QStringLiteral("GIMP Palette\nName: TINTERA Sync matches\nColumns: 1\n#\n");
        for (const VLMatchRecord &record : records) {
            QStringList about;
            if (!record.fandeck.isEmpty())
                about << record.fandeck;
            about << QStringLiteral("CIELAB D65/10 %1 %2 %3")
                         .arg(record.L, 0, 'f', 4)
                         .arg(record.a, 0, 'f', 4)
                         .arg(record.b, 0, 'f', 4);
            if (record.captureDate.isValid())
                about << QStringLiteral("captured %1").arg(vlMatchDateText(record.captureDate));
            if (!record.audioNotePath.isEmpty())
                about << QStringLiteral("audio note %1").arg(record.audioNotePath);
            text += QStringLiteral("# ") + oneLine(about.join(QStringLiteral("; "))) + QLatin1Char('\n');
            QString name = record.displayName();
            if (!record.textTag.isEmpty())
                name += QStringLiteral(" - ") + record.textTag;
            text += QStringLiteral("%1 %2 %3\t%4\n")
                        .arg(record.red, 3)
                        .arg(record.green, 3)
                        .arg(record.blue, 3)
                        .arg(oneLine(name));
        }
        return text.toUtf8();
    }
};

} // namespace

std::unique_ptr<VLMatchRecordWriter> vlMakeGPLWriter()
{
    return std::make_unique<GPLWriter>();
}
