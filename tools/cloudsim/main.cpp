// tintera-cloudsim: the sync web service, emulated on loopback for tests and the demo.
#include "CloudSimFaults.h"
#include "CloudSimServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <csignal>
#include <cstdlib>
#include <cstdio>
#include <iostream>
#include <pthread.h>
#include <thread>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

int fail(const QString &message)
{
    std::cerr << "tintera-cloudsim: " << message.toStdString() << std::endl;
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    // Termination signals are taken by one thread with sigwait, so stopping the server never
    // happens inside a signal handler. The mask is inherited by cpp-httplib's worker threads.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tintera-cloudsim"));

    // "--tls CERT KEY" takes two values, which the parser cannot express: taken out first.
    QStringList arguments = QCoreApplication::arguments();
    QString tlsCertificate;
    QString tlsKey;
    if (const qsizetype tls = arguments.indexOf(QStringLiteral("--tls")); tls > 0) {
        if (tls + 2 >= arguments.size())
            return fail(QStringLiteral("--tls takes a certificate file and its key file"));
        tlsCertificate = arguments.at(tls + 1);
        tlsKey = arguments.at(tls + 2);
        arguments.remove(tls, 3);
        for (const QString &file : {tlsCertificate, tlsKey}) {
            if (!QFileInfo(file).isReadable())
                return fail(QStringLiteral("cannot read %1").arg(file));
        }
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves a catalog folder written by tintera-catalog as the TINTERA sync web service.\n"
        "Prints its base URL on the first line of standard output.\n"
        "--tls CERT KEY serves https with the PEM certificate (chain) CERT and its private key KEY.\n\n"
        "Faults (--fault TARGET:ITEMS, or <base>/control/fault?target=TARGET&ITEMS):\n"
        "  TARGET  OpenDeviceSession | CloseDeviceSession | GetAvailableFiles | files | files/<name>\n"
        "  ITEMS   comma-separated, values percent-decoded:\n"
        "          http=CODE         answer with this HTTP status (endpoints keep their XML body)\n"
        "          body=html|notxml|empty   a body that is not the XML reply\n"
        "          body=cdata        the XML reply with every text in a CDATA section\n"
        "          statuscode=N,message=TEXT   a reply with only this StatusCode and StatusMessage\n"
        "          delay=MS          wait before answering\n"
        "          pauseat=N         (files) stop after N body bytes for the delay, then go on\n"
        "          cut=N             send N body bytes, then close the connection\n"
        "          drop              send the headers, then close the connection\n"
        "          filename=NAME     propose NAME as the file name (Content-Disposition)\n"
        "          nolength          send the file without Content-Length\n"
        "          extra=N           send N bytes more than the file holds (announced)\n"
        "          length=N          announce Content-Length N (even negative) whatever is sent\n"
        "          validator=etag|lastmodified|none   (files) the version a file is served with:\n"
        "                            ETag (default), Last-Modified only, or neither (and If-Range ignored)\n"
        "          fileurl=http|file (GetAvailableFiles) list the files at http URLs of this host,\n"
        "                            or at file URLs of the catalog folder\n"
        "          times=N           apply to the next N requests only"));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("catalog"), QStringLiteral("The catalog folder (index.json, files/)."));
    const QCommandLineOption catalogOption(QStringList{QStringLiteral("c"), QStringLiteral("catalog")},
                                           QStringLiteral("The catalog folder."), QStringLiteral("dir"));
    const QCommandLineOption portOption(QStringList{QStringLiteral("p"), QStringLiteral("port")},
                                        QStringLiteral("Port to listen on; 0 (default) picks a free one."),
                                        QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption hostOption(QStringLiteral("host"), QStringLiteral("Address to bind (default 127.0.0.1)."),
                                        QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption prefixOption(QStringLiteral("prefix"),
                                          QStringLiteral("Path of the base URL, for example /VLSyncService."),
                                          QStringLiteral("path"));
    const QCommandLineOption faultOption(QStringLiteral("fault"), QStringLiteral("A fault, TARGET:ITEMS (repeatable)."),
                                         QStringLiteral("fault"));
    const QCommandLineOption verboseOption(QStringLiteral("verbose"), QStringLiteral("Log every request on stderr."));
    const QCommandLineOption parentOption(QStringLiteral("exit-with-parent"),
                                          QStringLiteral("Stop when the process that started this one ends."));
    const QCommandLineOption linkOption(QStringLiteral("link"),
                                        QStringLiteral("The link the service sits behind: %1 (change it with <base>/control/link?profile=P).")
                                            .arg(LinkProfile::names().join(QStringLiteral(", "))),
                                        QStringLiteral("profile"), QStringLiteral("loopback"));
    const QCommandLineOption seedOption(QStringLiteral("link-seed"), QStringLiteral("Seed of the link's jitter."),
                                        QStringLiteral("n"), QStringLiteral("1"));
    parser.addOptions({catalogOption, portOption, hostOption, prefixOption, faultOption, verboseOption, parentOption,
                       linkOption, seedOption});
    parser.process(arguments);

    CloudSimServer::Options options;
    options.catalogFolder = parser.isSet(catalogOption) ? parser.value(catalogOption)
                                                        : parser.positionalArguments().value(0);
    if (options.catalogFolder.isEmpty())
        return fail(QStringLiteral("no catalog folder given (see --help)"));
    if (!QFileInfo(QDir(options.catalogFolder).filePath(QStringLiteral("index.json"))).isFile())
        return fail(QStringLiteral("%1 has no index.json").arg(options.catalogFolder));
    bool portOk = false;
    options.port = parser.value(portOption).toInt(&portOk);
    if (!portOk || options.port < 0 || options.port > 65535)
        return fail(QStringLiteral("bad port \"%1\"").arg(parser.value(portOption)));
    options.host = parser.value(hostOption);
    options.prefix = parser.value(prefixOption);
    options.verbose = parser.isSet(verboseOption);
    options.tlsCertificate = tlsCertificate;
    options.tlsKey = tlsKey;
    const std::optional<LinkProfile> link = LinkProfile::named(parser.value(linkOption));
    if (!link)
        return fail(QStringLiteral("unknown link \"%1\" (known: %2)")
                        .arg(parser.value(linkOption), LinkProfile::names().join(QStringLiteral(", "))));
    options.link = *link;
    bool seedOk = false;
    options.linkSeed = parser.value(seedOption).toULongLong(&seedOk);
    if (!seedOk)
        return fail(QStringLiteral("bad seed \"%1\"").arg(parser.value(seedOption)));

    CloudSimServer server(options);
    for (const QString &spec : parser.values(faultOption)) {
        const qsizetype colon = spec.indexOf(QLatin1Char(':'));
        const QString target = colon < 0 ? spec : spec.left(colon);
        if (!cloudSimIsKnownFaultTarget(target))
            return fail(QStringLiteral("unknown fault target \"%1\"").arg(target));
        QString error;
        const auto fault = cloudSimFaultFromSpec(colon < 0 ? QString() : spec.mid(colon + 1), &error);
        if (!fault)
            return fail(QStringLiteral("bad fault \"%1\": %2").arg(spec, error));
        server.faults().set(target, *fault);
    }

#ifdef __linux__
    if (parser.isSet(parentOption))
        prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif

    QString error;
    if (!server.bind(&error))
        return fail(error);
    std::cout << server.baseURL().toStdString() << std::endl;

    std::thread stopper([&server, stopSignals] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        server.stop();
        // Workers may sit in keep-alive reads for seconds; a stopped emulator has nothing left
        // to write, so it leaves at once.
        std::fflush(nullptr);
        std::_Exit(0);
    });
    server.run();
    // run() also returns when the server fails; wake the stopper so it can be joined.
    pthread_kill(stopper.native_handle(), SIGTERM);
    stopper.join();
    return 0;
}
