#include "HBConstants.h"

const QString HBErrorDomain = QStringLiteral("HBErrorDomain");
const QString HBColorNameAttributeKey = QStringLiteral("HBColorNameAttributeKey");
const QString HBColorNumberAttributeKey = QStringLiteral("HBColorNumberAttributeKey");
const QString HBColorUniqueIdentifierAttributeKey = QStringLiteral("HBColorUniqueIdentifierAttributeKey");
const QString HBColorObjectIDAttributeKey = QStringLiteral("HBColorObjectIDAttributeKey");
const QString HBColorObjectTypeAttributeKey = QStringLiteral("HBColorObjectTypeAttributeKey");
const QString HBColorCreationDateAttributeKey = QStringLiteral("HBColorCreationDateAttributeKey");
const QString HBDocumentCreatorAttributeKey = QStringLiteral("HBDocumentCreatorAttributeKey");
const QString HBDocumentCreationDateAttributeKey = QStringLiteral("HBDocumentCreationDateAttributeKey");
const QString HBDocumentDescriptionAttributeKey = QStringLiteral("HBDocumentDescriptionAttributeKey");
const QString HBDocumentCommentAttributeKey = QStringLiteral("HBDocumentCommentAttributeKey");
const QString HBColorRepIlluminantAttributeKey = QStringLiteral("HBColorRepIlluminantAttributeKey");
const QString HBColorRepObserverTypeAttributeKey = QStringLiteral("HBColorRepObserverTypeAttributeKey");
const QString HBColorRepGeometrySingleAngleConfigurationAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleConfigurationAttributeKey");
const QString HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey");
const QString HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey");
const QString HBColorRepMeasurementTypeAttributeKey = QStringLiteral("HBColorRepMeasurementTypeAttributeKey");
const QString HBColorRepTristimulusSpectralConvertionMethodAttributeKey =
    QStringLiteral("HBColorRepTristimulusSpectralConvertionMethodAttributeKey");
const QString HBIlluminantD65 = QStringLiteral("D65");
const QString HBTristimulusConvertionMethodE308Table5 = QStringLiteral("E308_Table5");
const QString HBTristimulusConvertionMethodE308Table6 = QStringLiteral("E308_Table6");
const QString CXF3FandeckCustomResourceGUIDKey = QStringLiteral("CXF3FandeckCustomResourceGUIDKey");
const QString CXF3FandeckCustomResourceNameKey = QStringLiteral("CXF3FandeckCustomResourceNameKey");
const QString CXF3FandeckCustomResourceEditionKey = QStringLiteral("CXF3FandeckCustomResourceEditionKey");
const QString CXF3FandeckCustomResourceSupplierKey = QStringLiteral("CXF3FandeckCustomResourceSupplierKey");
const QString CXF3FandeckCustomResourceVersionKey = QStringLiteral("CXF3FandeckCustomResourceVersionKey");
const QString HBCustomResourceNamespaceURI = QStringLiteral("urn:x-tintera-sync:cxf3-custom-resources:1");
