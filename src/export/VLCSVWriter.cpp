// CSV for spreadsheets: RFC 4180 (a header row, CRLF line ends, fields quoted when they hold a comma,
// a quote or a line break, quotes doubled), UTF-8 with a byte-order mark so that spreadsheet programs
// do not take the text for their local code page.
#include "VLMatchRecordWriter.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString field(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n'))
        && !text.contains(QLatin1Char('\r')))
        return text;
    return QLatin1Char('"') + QString(text).replace(QLatin1Char('"'), QStringLiteral("\"\"")) + QLatin1Char('"');
}

QString number(double value)
{
    return QString::number(value, 'f', 4);
}

class CSVWriter : public VLMatchRecordWriter
{
public:
    QByteArray dataForRecords(const VLMatchRecordList &records, VLError *) const override
    {
        const std::optional<VLSpectralGrid> grid = vlCommonSpectralGrid(records);
        QStringList header = { QStringLiteral("Colour number"), QStringLiteral("Colour name"),
            QStringLiteral("Fandeck"), QStringLiteral("L*"), QStringLiteral("a*"), QStringLiteral("b*"),
            QStringLiteral("sRGB R"), QStringLiteral("sRGB G"), QStringLiteral("sRGB B"), QStringLiteral("sRGB hex"),
            QStringLiteral("Text tag"), QStringLiteral("Capture date"), QStringLiteral("Audio note") };
        if (grid) {
            for (qsizetype band = 0; band < grid->bands; ++band)
                header << QStringLiteral("%1 nm").arg(grid->start + band * grid->increment);
        }
        QString text = QChar(0xFEFF);
        const auto appendRow = [&text](const QStringList &cells) {
            QStringList quoted;
            for (const QString &cell : cells)
                quoted << field(cell);
            text += quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
        };
        appendRow(header);
        for (const VLMatchRecord &record : records) {
            QStringList cells = { record.colorNumber, record.colorName, record.fandeck, number(record.L),
                number(record.a), number(record.b), QString::number(record.red), QString::number(record.green),
                QString::number(record.blue),
                QStringLiteral("#%1%2%3")
                    .arg(record.red, 2, 16, QLatin1Char('0'))
                    .arg(record.green, 2, 16, QLatin1Char('0'))
                    .arg(record.blue, 2, 16, QLatin1Char('0'))
                    .toUpper(),
                record.textTag, vlMatchDateText(record.captureDate), record.audioNotePath };
            if (grid) {
                for (double value : record.spectrum)
                    cells << QString::number(value, 'f', 4);
            }
            appendRow(cells);
        }
        return text.toUtf8();
    }
};

} // namespace

std::unique_ptr<VLMatchRecordWriter> vlMakeCSVWriter()
{
    return std::make_unique<CSVWriter>();
}
