#include "TinteraMatchTable.h"

#include "HBColorDocument.h"
#include "HBConstants.h"
#include "TX350CustomResource.h"
#include "VLFormat.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <algorithm>

namespace {

const QRegularExpression kTrailingSpace(QStringLiteral("\\s+$"));

QString tr(const char *text)
{
    return QCoreApplication::translate("TinteraMatchTable", text);
}

QString firstText(const QVariantMap &attributes, std::initializer_list<QString> keys)
{
    for (const QString &key : keys) {
        const QString text = attributes.value(key).toString();
        if (!text.isEmpty())
            return text;
    }
    return QString();
}

} // namespace

QList<TinteraMatchRow> tinteraReadMatchRows(const QString &documentPath, VLError *error)
{
    const HBColorDocumentPtr document = HBColorDocument::initWithFile(documentPath, nullptr, error);
    if (!document)
        return {};
    QSharedPointer<TX350CustomResource> matchList;
    for (const HBCustomResourcePtr &resource : document->customResources()) {
        if (auto tx350 = resource.dynamicCast<TX350CustomResource>()) {
            matchList = tx350;
            break;
        }
    }
    QHash<QString, QString> fandeckNames;
    const QList<QVariantMap> matches = matchList ? matchList->matches() : QList<QVariantMap>();
    if (matchList) {
        for (const QVariantMap &fandeck : matchList->fandecks()) {
            const QString id = fandeck.value(TX350CustomResourceFandeckIDKey).toString();
            fandeckNames.insert(id, firstText(fandeck, {TX350CustomResourceFandeckNameKey, TX350CustomResourceFandeckIDKey}));
        }
    }

    QList<TinteraMatchRow> rows;
    const QList<HBColorPtr> &colors = document->colors();
    for (qsizetype i = 0; i < colors.size(); ++i) {
        const HBColorPtr &color = colors.at(i);
        TinteraMatchRow row;
        row.colorID = firstText(color->attributes(), {HBColorNumberAttributeKey, HBColorNameAttributeKey});
        const QList<HBColorRepresentationPtr> labs = color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab);
        if (!labs.isEmpty()) {
            row.hasLab = true;
            row.L = labs.last()->L();
            row.a = labs.last()->a();
            row.b = labs.last()->b();
        }
        if (i < matches.size()) {
            const QVariantMap &match = matches.at(i);
            const QString fandeckID = match.value(TX350CustomResourceMatchColorFandeckIDKey).toString();
            row.fandeck = fandeckNames.value(fandeckID, fandeckID);
            row.tag = match.value(TX350CustomResourceMatchTextKey).toString();
            row.audioNote = match.value(TX350CustomResourceMatchAudioSourceURIKey).toString();
        }
        rows.append(row);
    }
    return rows;
}

QList<TinteraMatchRow> tinteraMatchRowsFromRecords(const VLMatchRecordList &records)
{
    QList<TinteraMatchRow> rows;
    for (const VLMatchRecord &record : records) {
        TinteraMatchRow row;
        row.colorID = record.colorNumber.isEmpty() ? record.colorName : record.colorNumber;
        row.fandeck = record.fandeck;
        row.L = record.L;
        row.a = record.a;
        row.b = record.b;
        row.hasLab = true;
        row.tag = record.textTag;
        row.audioNote = record.audioNotePath;
        rows.append(row);
    }
    return rows;
}

QString tinteraFormatMatchTable(const QList<TinteraMatchRow> &rows)
{
    const QStringList header = {tr("Colour"), tr("Fandeck"), tr("L*"), tr("a*"), tr("b*"), tr("Tag"), tr("Audio note")};
    QList<QStringList> cells = {header};
    for (const TinteraMatchRow &row : rows) {
        const auto number = [&](double value) { return row.hasLab ? vlFormat("%.2f", value) : QStringLiteral("-"); };
        cells.append({row.colorID, row.fandeck, number(row.L), number(row.a), number(row.b),
                      row.tag.isEmpty() ? QStringLiteral("-") : row.tag,
                      row.audioNote.isEmpty() ? QStringLiteral("-") : row.audioNote});
    }
    QList<qsizetype> widths(header.size(), 0);
    for (const QStringList &line : cells) {
        for (qsizetype column = 0; column < line.size(); ++column)
            widths[column] = std::max(widths[column], line.at(column).size());
    }
    // Numbers line up on the right, text on the left.
    const auto isNumberColumn = [](qsizetype column) { return column >= 2 && column <= 4; };
    QString text;
    for (const QStringList &line : cells) {
        QStringList padded;
        for (qsizetype column = 0; column < line.size(); ++column) {
            const int width = int(widths.at(column));
            padded << (isNumberColumn(column) ? line.at(column).rightJustified(width) : line.at(column).leftJustified(width));
        }
        text += padded.join(QStringLiteral("  ")).replace(kTrailingSpace, QString()) + QLatin1Char('\n');
    }
    return text;
}
