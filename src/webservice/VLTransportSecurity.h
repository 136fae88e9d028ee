#pragma once

#include "VLError.h"

#include <QString>
#include <QUrl>

// Adds the CA certificates of a PEM file to those every https connection of the process trusts,
// beside the system's store (Qt reads no SSL_CERT_FILE). Call before the first request.
bool vlTrustCertificatesInFile(const QString &caFile, VLError *error);

// The certificates front ends trust at start: `caFile` (their command line) when given, else the
// stored "VLSyncTrustedCAFile" setting; true when there is none.
bool vlTrustConfiguredCertificates(const QString &caFile, VLError *error);

// The certificates of a PEM file; an error when it cannot be read or holds none.
bool vlReadCertificatesFile(const QString &caFile, int *count, VLError *error);

// A clear error for an https URL when this computer has no TLS support (no usable OpenSSL for
// Qt), or null: without it the failure would look like a network that is down.
VLError vlTLSUnavailableError(const QUrl &url);
