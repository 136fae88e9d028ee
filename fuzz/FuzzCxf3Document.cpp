// A colour document (CxF3, or CGATS) as a fandeck download or an exported file: opened, its colours
// and custom resources read as the match export reads them, then written again; whatever is
// written must read back.

#include "FuzzSupport.h"
#include "HBColorDocument.h"
#include "TX350CustomResource.h"
#include "TinteraFuzzTargets.h"

namespace {

void readColours(const HBColorDocument &document)
{
    for (const HBColorPtr &color : document.colors()) {
        (void)color->description();
        for (const QString &key : {HBColorNumberAttributeKey, HBColorNameAttributeKey}) {
            const QVariant value = color->attributeForKey(key);
            if (value.isValid())
                (void)document.colorsWithAttributes({{key, value}});
        }
        for (const HBColorRepresentationPtr &spectrum : color->representationsWithColorSpaceModel(HBColorSpaceModelSpectral)) {
            for (const int observer : {0, 1}) {
                VLError error;
                (void)spectrum->colorUsingColorSpaceModel(
                    HBColorSpaceModelCIELab,
                    {{HBColorRepIlluminantAttributeKey, HBIlluminantD65}, {HBColorRepObserverTypeAttributeKey, observer}},
                    &error);
            }
        }
        for (const HBColorRepresentationPtr &lab : color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab)) {
            VLError error;
            (void)lab->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, {}, &error);
            (void)lab->L();
        }
    }
    for (const HBCustomResourcePtr &resource : document.customResources()) {
        (void)resource->description();
        if (const auto matches = resource.dynamicCast<TX350CustomResource>()) {
            (void)matches->fandecks().size();
            (void)matches->matches().size();
        }
    }
}

} // namespace

int tinteraFuzzCxf3Document(const uint8_t *data, size_t size)
{
    tinteraFuzzSetUp();
    VLError error;
    const HBColorDocumentPtr document = HBColorDocument::initWithData(tinteraFuzzBytes(data, size), nullptr, &error);
    if (!document) {
        TINTERA_FUZZ_CHECK(!error.isNull(), "a document that cannot be read says why");
        return 0;
    }
    readColours(*document);
    (void)document->description();

    VLError writeError;
    const QByteArray written = document->dataRepresentation(&writeError);
    if (written.isEmpty()) {
        TINTERA_FUZZ_CHECK(!writeError.isNull(), "a document that cannot be written says why");
        return 0;
    }
    VLError readError;
    const HBColorDocumentPtr again = HBColorDocument::initWithData(written, nullptr, &readError);
    TINTERA_FUZZ_CHECK(again, "a written document reads back");
    TINTERA_FUZZ_CHECK(again->colors().size() == document->colors().size(), "a written document keeps every colour");
    return 0;
}
