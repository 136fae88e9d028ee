#pragma once

#include <QString>

// Colour-space models of a representation, numbered as the colour-data framework numbers them.
enum HBColorSpaceModel : int {
    HBColorSpaceModelUnknown = 0,
    HBColorSpaceModelCIELab = 1,
    HBColorSpaceModelSpectral = 12,
};

// Errors of this library carry this domain and one of these codes.
inline const QString HBErrorDomain = QStringLiteral("HBErrorDomain");
enum HBErrorCode : int {
    HBErrorFileUnreadable = 1,
    HBErrorNotXML = 2,
    HBErrorNotCxF3 = 3,
    HBErrorInconsistentData = 4,
    HBErrorUnsupportedConversion = 5,
    HBErrorWriteFailed = 6,
    HBErrorInvalidValue = 7,
    HBErrorEntityExpansion = 8,
};

// Colour attributes. A CxF3 Object carries the name, identifier, GUID, type and creation date as
// its own XML attributes; every other colour attribute travels as a tag.
inline const QString HBColorNameAttributeKey = QStringLiteral("HBColorNameAttributeKey");
inline const QString HBColorNumberAttributeKey = QStringLiteral("HBColorNumberAttributeKey");
inline const QString HBColorUniqueIdentifierAttributeKey = QStringLiteral("HBColorUniqueIdentifierAttributeKey");
inline const QString HBColorObjectIDAttributeKey = QStringLiteral("HBColorObjectIDAttributeKey");
inline const QString HBColorObjectTypeAttributeKey = QStringLiteral("HBColorObjectTypeAttributeKey");
inline const QString HBColorCreationDateAttributeKey = QStringLiteral("HBColorCreationDateAttributeKey");

// Document attributes kept in the CxF3 FileInformation header; other string-valued document
// attributes travel as header tags.
inline const QString HBDocumentCreatorAttributeKey = QStringLiteral("HBDocumentCreatorAttributeKey");
inline const QString HBDocumentCreationDateAttributeKey = QStringLiteral("HBDocumentCreationDateAttributeKey");
inline const QString HBDocumentDescriptionAttributeKey = QStringLiteral("HBDocumentDescriptionAttributeKey");
inline const QString HBDocumentCommentAttributeKey = QStringLiteral("HBDocumentCommentAttributeKey");

// Measurement conditions of a representation. Observer type: 0 = CIE 1931 2 degree,
// 1 = CIE 1964 10 degree. Measurement type: 0..3 = ISO 13655 M0..M3.
inline const QString HBColorRepIlluminantAttributeKey = QStringLiteral("HBColorRepIlluminantAttributeKey");
inline const QString HBColorRepObserverTypeAttributeKey = QStringLiteral("HBColorRepObserverTypeAttributeKey");
inline const QString HBColorRepGeometrySingleAngleConfigurationAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleConfigurationAttributeKey");
inline const QString HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey");
inline const QString HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey =
    QStringLiteral("HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey");
inline const QString HBColorRepMeasurementTypeAttributeKey = QStringLiteral("HBColorRepMeasurementTypeAttributeKey");
inline const QString HBColorRepTristimulusSpectralConvertionMethodAttributeKey =
    QStringLiteral("HBColorRepTristimulusSpectralConvertionMethodAttributeKey");

inline const QString HBIlluminantD65 = QStringLiteral("D65");
inline const QString HBTristimulusConvertionMethodE308Table5 = QStringLiteral("E308_Table5");
inline const QString HBTristimulusConvertionMethodE308Table6 = QStringLiteral("E308_Table6");
inline constexpr int HBObserverTypeCIE1931TwoDegree = 0;
inline constexpr int HBObserverTypeCIE1964TenDegree = 1;

// Fandeck identity, kept in the document's attributes and written as the fandeck custom resource.
inline const QString CXF3FandeckCustomResourceGUIDKey = QStringLiteral("CXF3FandeckCustomResourceGUIDKey");
inline const QString CXF3FandeckCustomResourceNameKey = QStringLiteral("CXF3FandeckCustomResourceNameKey");
inline const QString CXF3FandeckCustomResourceEditionKey = QStringLiteral("CXF3FandeckCustomResourceEditionKey");
inline const QString CXF3FandeckCustomResourceSupplierKey = QStringLiteral("CXF3FandeckCustomResourceSupplierKey");
inline const QString CXF3FandeckCustomResourceVersionKey = QStringLiteral("CXF3FandeckCustomResourceVersionKey");

// Namespace of this project's own CustomResources elements.
inline const QString HBCustomResourceNamespaceURI = QStringLiteral("urn:x-tintera-sync:cxf3-custom-resources:1");
