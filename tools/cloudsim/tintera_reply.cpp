// tintera-reply FILE: prints how the sync client reads a saved reply body of the web service:
// the decoded dictionary tree as an XML property list, or the request error it would raise.
#include "VLPropertyList.h"
#include "VLSyncReply.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera-reply"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Shows how the TINTERA sync client reads a reply body of the web service.\n"
        "Prints the decoded dictionary as an XML property list on stdout (exit 0), or the error\n"
        "the request would report on stderr (exit 1). FILE \"-\" reads standard input."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("The saved reply body."));
    const QCommandLineOption statusOption(QStringLiteral("status"),
                                          QStringLiteral("The HTTP status the body came with (default 200)."),
                                          QStringLiteral("code"), QStringLiteral("200"));
    const QCommandLineOption decodeOption(QStringLiteral("decode-only"),
                                          QStringLiteral("Print the decoded dictionary even when the reply is refused."));
    parser.addOptions({statusOption, decodeOption});
    parser.process(application);

    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) {
        std::fprintf(stderr, "tintera-reply: give exactly one FILE (see --help)\n");
        return 2;
    }
    bool statusOk = false;
    const int status = parser.value(statusOption).toInt(&statusOk);
    if (!statusOk) {
        std::fprintf(stderr, "tintera-reply: bad HTTP status \"%s\"\n", qPrintable(parser.value(statusOption)));
        return 2;
    }

    QFile file;
    const bool opened = arguments.first() == QLatin1String("-") ? file.open(stdin, QIODevice::ReadOnly)
                                                                 : (file.setFileName(arguments.first()),
                                                                    file.open(QIODevice::ReadOnly));
    if (!opened) {
        std::fprintf(stderr, "tintera-reply: cannot read %s: %s\n", qPrintable(arguments.first()),
                     qPrintable(file.errorString()));
        return 2;
    }
    const QByteArray body = file.readAll();

    const VLSyncReplyOutcome outcome = vlEvaluateSyncReply(body, status);
    if (outcome.result && (outcome.error.isNull() || parser.isSet(decodeOption))) {
        const QByteArray plist = VLPropertyList::toXml(*outcome.result);
        std::fwrite(plist.constData(), 1, size_t(plist.size()), stdout);
    }
    if (!outcome.error.isNull()) {
        std::fprintf(stderr, "%s\n", qPrintable(outcome.error.description()));
        return 1;
    }
    return 0;
}
