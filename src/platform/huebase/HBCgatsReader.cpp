#include "HBCgatsReader.h"

#include "HBCgatsNames.h"
#include "HBColorDocument.h"
#include "HBCxfNames.h"
#include "HBErrors.h"

#include <lcms2.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>

#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <optional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HBCgatsReader", text);
}

// Little CMS keeps the whole file and its tables in memory; measurement files are far smaller.
constexpr qsizetype kMaximumCgatsBytes = 64 * 1024 * 1024;

struct IT8Deleter
{
    void operator()(void *handle) const { cmsIT8Free(handle); }
};
using IT8Ptr = std::unique_ptr<void, IT8Deleter>;

std::optional<double> number(const char *text)
{
    if (!text)
        return std::nullopt;
    bool ok = false;
    const double value = QByteArray(text).trimmed().toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional<double>(value) : std::nullopt;
}

// The illuminant and observer of CGATS.17's WEIGHTING_FUNCTION pairs ("ILLUMINANT,D65" and
// "OBSERVER,10 degree"); an empty map when it names neither.
QVariantMap conditionsOf(cmsHANDLE it8)
{
    QVariantMap conditions;
    const char *illuminant = cmsIT8GetPropertyMulti(it8, HBCgatsWeightingFunction, "ILLUMINANT");
    const char *observer = cmsIT8GetPropertyMulti(it8, HBCgatsWeightingFunction, "OBSERVER");
    if (illuminant && *illuminant)
        conditions.insert(HBColorRepIlluminantAttributeKey, QString::fromUtf8(illuminant).trimmed().toUpper());
    const QString observerText = observer ? QString::fromUtf8(observer).trimmed() : QString();
    if (observerText.startsWith(QLatin1String("10")))
        conditions.insert(HBColorRepObserverTypeAttributeKey, HBObserverTypeCIE1964TenDegree);
    else if (observerText.startsWith(QLatin1String("2")))
        conditions.insert(HBColorRepObserverTypeAttributeKey, HBObserverTypeCIE1931TwoDegree);
    return conditions;
}

class Reader
{
public:
    Reader(cmsHANDLE it8, HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error)
        : m_it8(it8)
        , m_document(document)
        , m_delegate(delegate)
        , m_error(error)
    {
    }

    bool read()
    {
        char **names = nullptr;
        const int fieldCount = cmsIT8EnumDataFormat(m_it8, &names);
        if (fieldCount <= 0 || !names)
            return hbFail(m_error, HBErrorNotCxF3, tr("The CGATS file has no data format"));
        for (int column = 0; column < fieldCount; ++column) {
            if (names[column])
                m_columns.insert(QString::fromUtf8(names[column]).toUpper(), column);
        }
        const std::optional<double> sets = number(cmsIT8GetProperty(m_it8, "NUMBER_OF_SETS"));
        if (!sets || *sets < 0 || *sets > std::numeric_limits<int>::max())
            return hbFail(m_error, HBErrorNotCxF3, tr("The CGATS file does not say how many rows it has"));
        // The library keeps NUMBER_OF_SETS as written even when no data section follows; then it
        // holds no cells, and the announced rows are not in the file.
        if (*sets >= 1 && !cmsIT8GetDataRowCol(m_it8, 0, 0))
            return hbFail(m_error, HBErrorNotCxF3, tr("The CGATS file announces rows but holds no data"));
        readHeader();
        if (!findSpectralColumns())
            return false;
        for (int row = 0; row < int(*sets); ++row) {
            if (!readRow(row))
                return false;
        }
        return true;
    }

private:
    int column(const char *name) const { return m_columns.value(QString::fromLatin1(name), -1); }

    const char *cell(int row, int column) const
    {
        return column < 0 ? nullptr : cmsIT8GetDataRowCol(m_it8, row, column);
    }
    // Text of a cell without the blanks around it (writers put one space for empty text).
    QString text(int row, const char *field) const
    {
        const char *value = cell(row, column(field));
        return value ? QString::fromUtf8(value).trimmed() : QString();
    }

    void readHeader()
    {
        const std::pair<const char *, QString> header[] = {
            { "ORIGINATOR", HBDocumentCreatorAttributeKey },
            { "DESCRIPTOR", HBDocumentDescriptionAttributeKey },
        };
        for (const auto &[keyword, key] : header) {
            if (const char *value = cmsIT8GetProperty(m_it8, keyword))
                m_document->setAttribute(QString::fromUtf8(value), key);
        }
        if (const char *created = cmsIT8GetProperty(m_it8, "CREATED")) {
            const QDateTime date = QDateTime::fromString(QString::fromUtf8(created), Qt::ISODateWithMs);
            m_document->setAttribute(date.isValid() ? QVariant(date) : QVariant(QString::fromUtf8(created)),
                HBDocumentCreationDateAttributeKey);
        }
        m_labConditions = conditionsOf(m_it8);
    }

    // Spectral columns named by wavelength ("SPEC_400", "SPECTRAL_NM400", "NM400"), kept when
    // they form a regular grid CxF3 can describe.
    bool findSpectralColumns()
    {
        static const QRegularExpression spectral(QStringLiteral("^(?:SPEC_|SPECTRAL_NM|SPECTRAL_|NM_?|R_)(\\d{3})$"));
        std::map<int, int> byWavelength;
        for (auto it = m_columns.cbegin(); it != m_columns.cend(); ++it) {
            const QRegularExpressionMatch match = spectral.match(it.key());
            if (match.hasMatch())
                byWavelength.emplace(match.captured(1).toInt(), it.value());
        }
        if (byWavelength.empty())
            return true;
        const int start = byWavelength.begin()->first;
        const int increment = byWavelength.size() > 1 ? std::next(byWavelength.begin())->first - start : 0;
        bool regular = byWavelength.size() > 1 && hbIsCxfWavelengthIncrement(increment);
        int expected = start;
        for (const auto &[wavelength, columnIndex] : byWavelength) {
            regular = regular && wavelength == expected;
            expected += increment;
            m_spectralColumns << columnIndex;
        }
        if (!regular || start > HBCxfMaximumEndWavelength) {
            m_spectralColumns.clear();
            skip(tr("The spectral columns do not form a regular grid and were left out"));
            return true;
        }
        m_spectralStart = start;
        m_spectralIncrement = increment;
        return true;
    }

    bool readRow(int row)
    {
        HBColorPtr color = HBColor::color();
        const QString id = text(row, HBCgatsSampleID);
        const QString label = id.isEmpty() ? QString::number(row + 1) : id;
        if (!id.isEmpty())
            color->setAttribute(id, HBColorObjectIDAttributeKey);
        for (const char *nameField : { HBCgatsSampleName, HBCgatsSampleLocation }) {
            const QString name = text(row, nameField);
            if (!name.isEmpty()) {
                color->setAttribute(name, HBColorNameAttributeKey);
                break;
            }
        }
        const QString colourNumber = text(row, HBCgatsColorNumber);
        if (!colourNumber.isEmpty())
            color->setAttribute(colourNumber, HBColorNumberAttributeKey);
        for (const char *field : { HBCgatsFandeck, HBCgatsTextTag, HBCgatsCaptureDate, HBCgatsAudioNote }) {
            const QString value = text(row, field);
            if (!value.isEmpty())
                color->setAttribute(value, hbAttributeKeyForTagName(QString::fromLatin1(field)));
        }

        if (!m_spectralColumns.isEmpty()) {
            QList<double> values;
            for (int columnIndex : std::as_const(m_spectralColumns)) {
                const std::optional<double> value = number(cell(row, columnIndex));
                if (!value) {
                    return hbFail(m_error, HBErrorInconsistentData,
                        tr("Row \"%1\": a spectral value is not a number").arg(label));
                }
                values << *value;
            }
            m_spectra << values;
            m_spectraOwners << color;
        }
        const int l = column(HBCgatsLabL), a = column(HBCgatsLabA), b = column(HBCgatsLabB);
        if (l >= 0 && a >= 0 && b >= 0) {
            const std::optional<double> L = number(cell(row, l)), A = number(cell(row, a)), B = number(cell(row, b));
            if (!L || !A || !B)
                return hbFail(
                    m_error, HBErrorInconsistentData, tr("Row \"%1\": the CIELAB value needs numbers").arg(label));
            HBColorRepresentationPtr lab = HBColorRepresentation::labRepresentation(*L, *A, *B);
            lab->setAttributes(m_labConditions);
            m_labs.insert(color.data(), lab);
        }
        m_document->addColor(color);
        return true;
    }

public:
    // Spectra are per cent in ArgyllCMS's files and factors (1.0 = 100 %) in others; the scale is
    // taken from the whole table, as no single row can tell. Spectra go before CIELAB, as in CxF3.
    void addRepresentations()
    {
        double maximum = 0;
        for (const QList<double> &values : std::as_const(m_spectra)) {
            for (double value : values)
                maximum = std::max(maximum, value);
        }
        const double scale = maximum > 3.0 ? 0.01 : 1.0;
        for (qsizetype i = 0; i < m_spectra.size(); ++i) {
            QList<double> values = m_spectra[i];
            for (double &value : values)
                value *= scale;
            m_spectraOwners[i]->addRepresentation(
                HBColorRepresentation::spectralRepresentation(m_spectralStart, m_spectralIncrement, values));
        }
        for (const HBColorPtr &color : m_document->colors()) {
            if (const HBColorRepresentationPtr lab = m_labs.value(color.data()))
                color->addRepresentation(lab);
        }
    }

private:
    void skip(const QString &reason)
    {
        if (m_delegate)
            m_delegate->colorDocumentDidSkipContent(m_document, reason);
    }

    cmsHANDLE m_it8;
    HBColorDocument *m_document;
    HBColorDocumentDelegate *m_delegate;
    VLError *m_error;
    QHash<QString, int> m_columns;
    QVariantMap m_labConditions;
    QList<int> m_spectralColumns;
    int m_spectralStart = 0;
    int m_spectralIncrement = 0;
    QList<QList<double>> m_spectra;
    QList<HBColorPtr> m_spectraOwners;
    QHash<const HBColor *, HBColorRepresentationPtr> m_labs;
};

} // namespace

bool hbLooksLikeCgats(const QByteArray &data)
{
    const QByteArray start = data.left(4096).trimmed();
    return !start.startsWith('<') && !start.startsWith("\xEF\xBB\xBF<") && data.contains("BEGIN_DATA_FORMAT")
        && data.contains("BEGIN_DATA");
}

namespace {

// Little CMS (2.14) overruns its own tables when a table's NUMBER_OF_FIELDS or NUMBER_OF_SETS is
// given again after it sized them, and follows the word ".INCLUDE" to files on disk. Only the first table
// is read here, so the library gets that table alone, once its header has been checked: each
// sizing keyword at most once, no include. The words are told apart as the library tells them
// (case does not matter; a word ends at a blank, a control byte, a non-ASCII byte, '#' or a quote).
std::optional<QByteArray> firstTableForLibrary(const QByteArray &data, QString *why)
{
    const auto wordByte = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > 32 && byte < 127 && c != '#' && c != '"' && c != '\'';
    };
    const char *const sizingKeywords[] = {"NUMBER_OF_FIELDS", "NUMBER_OF_SETS", "BEGIN_DATA_FORMAT"};
    int sizingCounts[std::size(sizingKeywords)] = {};
    bool inData = false;
    for (qsizetype at = 0; at < data.size();) {
        if (!wordByte(data[at])) {
            ++at;
            continue;
        }
        qsizetype end = at;
        while (end < data.size() && wordByte(data[end]))
            ++end;
        const QByteArrayView word = QByteArrayView(data).sliced(at, end - at);
        const auto is = [&word](const char *keyword) { return word.compare(keyword, Qt::CaseInsensitive) == 0; };
        at = end;
        if (is(".INCLUDE")) {
            *why = tr("The CGATS file includes other files");
            return std::nullopt;
        }
        if (inData) {
            if (is("END_DATA"))
                return data.left(end) + '\n';
            continue;
        }
        if (is("BEGIN_DATA")) {
            inData = true;
            continue;
        }
        for (size_t i = 0; i < std::size(sizingKeywords); ++i) {
            if (is(sizingKeywords[i]) && ++sizingCounts[i] > 1) {
                *why = tr("The CGATS file gives %1 twice").arg(QString::fromLatin1(sizingKeywords[i]));
                return std::nullopt;
            }
        }
    }
    return data;
}

} // namespace

bool hbReadCgats(const QByteArray &data, HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error)
{
    if (data.size() > kMaximumCgatsBytes)
        return hbFail(error, HBErrorNotCxF3, tr("The CGATS file is too large"));
    QString why;
    const std::optional<QByteArray> table = firstTableForLibrary(data, &why);
    if (!table)
        return hbFail(error, HBErrorNotCxF3, why);
    // Little CMS reads up to a terminating zero in some paths; hand it a copy that has one.
    const QByteArray text = *table + '\0';
    const IT8Ptr it8(cmsIT8LoadFromMem(nullptr, text.constData(), cmsUInt32Number(text.size())));
    if (!it8)
        return hbFail(error, HBErrorNotCxF3, tr("Not a readable CGATS file"));
    if (cmsIT8TableCount(it8.get()) == 0 || cmsIT8SetTable(it8.get(), 0) < 0)
        return hbFail(error, HBErrorNotCxF3, tr("The CGATS file holds no table"));
    Reader reader(it8.get(), document, delegate, error);
    if (!reader.read())
        return false;
    reader.addRepresentations();
    return true;
}
