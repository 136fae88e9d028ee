#pragma once

#include <QString>

// Colour-space models of a representation, numbered as the colour-data framework numbers them.
enum HBColorSpaceModel : int {
    HBColorSpaceModelUnknown = 0,
    HBColorSpaceModelCIELab = 1,
    HBColorSpaceModelSpectral = 12,
};

// Errors of this library carry this domain and one of these codes.
extern const QString HBErrorDomain;
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
extern const QString HBColorNameAttributeKey;
extern const QString HBColorNumberAttributeKey;
extern const QString HBColorUniqueIdentifierAttributeKey;
extern const QString HBColorObjectIDAttributeKey;
extern const QString HBColorObjectTypeAttributeKey;
extern const QString HBColorCreationDateAttributeKey;

// Document attributes kept in the CxF3 FileInformation header; other string-valued document
// attributes travel as header tags.
extern const QString HBDocumentCreatorAttributeKey;
extern const QString HBDocumentCreationDateAttributeKey;
extern const QString HBDocumentDescriptionAttributeKey;
extern const QString HBDocumentCommentAttributeKey;

// Measurement conditions of a representation. Observer type: 0 = CIE 1931 2 degree,
// 1 = CIE 1964 10 degree. Measurement type: 0..3 = ISO 13655 M0..M3.
extern const QString HBColorRepIlluminantAttributeKey;
extern const QString HBColorRepObserverTypeAttributeKey;
extern const QString HBColorRepGeometrySingleAngleConfigurationAttributeKey;
extern const QString HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey;
extern const QString HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey;
extern const QString HBColorRepMeasurementTypeAttributeKey;
extern const QString HBColorRepTristimulusSpectralConvertionMethodAttributeKey;

extern const QString HBIlluminantD65;
extern const QString HBTristimulusConvertionMethodE308Table5;
extern const QString HBTristimulusConvertionMethodE308Table6;
inline constexpr int HBObserverTypeCIE1931TwoDegree = 0;
inline constexpr int HBObserverTypeCIE1964TenDegree = 1;

// Fandeck identity, kept in the document's attributes and written as the fandeck custom resource.
extern const QString CXF3FandeckCustomResourceGUIDKey;
extern const QString CXF3FandeckCustomResourceNameKey;
extern const QString CXF3FandeckCustomResourceEditionKey;
extern const QString CXF3FandeckCustomResourceSupplierKey;
extern const QString CXF3FandeckCustomResourceVersionKey;

// Namespace of this project's own CustomResources elements.
extern const QString HBCustomResourceNamespaceURI;
