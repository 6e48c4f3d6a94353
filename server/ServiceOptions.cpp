#include "ServiceOptions.h"

#include "upstream/UpstreamOptions.h"

#include <QCommandLineParser>

namespace {

constexpr int maxWordDelayMs = 10000;

std::optional<int> integer(const QString& text, int low, int high)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < low || value > high)
        return std::nullopt;
    return value;
}

} // namespace

std::variant<ServiceOptions, ServiceOptions::Help, QString> ServiceOptions::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("The reference service of the Tavrin agent: the account API and the ask stream."));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    const QCommandLineOption host(QStringLiteral("host"), QStringLiteral("Address to listen on (127.0.0.1)."),
                                  QStringLiteral("ADDRESS"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port to listen on (8080); 0 picks a free one. The chosen "
                                                 "address is printed as \"listening on URL\"."),
                                  QStringLiteral("PORT"), QStringLiteral("8080"));
    const QCommandLineOption token(QStringLiteral("token"),
                                   QStringLiteral("Shared bearer token accepted by v1/ask (also read from "
                                                  "TAVRIN_SERVICE_TOKEN)."),
                                   QStringLiteral("TOKEN"));
    const QCommandLineOption wordDelay(QStringLiteral("word-delay"),
                                       QStringLiteral("Pause of the offline engine between words (30 ms)."),
                                       QStringLiteral("MS"), QStringLiteral("30"));
    parser.addOptions({help, host, port, token, wordDelay});
    parser.addOptions(UpstreamOptions::all());
    if (!parser.parse(arguments))
        return parser.errorText();
    if (parser.isSet(help))
        return Help{parser.helpText()};
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("Unexpected argument: %1").arg(parser.positionalArguments().constFirst());

    ServiceOptions options;
    options.host = parser.value(host);
    const std::optional<int> portNumber = integer(parser.value(port), 0, 65535);
    if (!portNumber)
        return QStringLiteral("--port needs a number from 0 to 65535, not \"%1\".").arg(parser.value(port));
    options.port = *portNumber;
    const std::optional<int> delay = integer(parser.value(wordDelay), 0, maxWordDelayMs);
    if (!delay)
        return QStringLiteral("--word-delay needs a number of milliseconds from 0 to %1.").arg(maxWordDelayMs);
    options.wordDelay = std::chrono::milliseconds(*delay);
    const QString sharedToken =
        parser.isSet(token) ? parser.value(token) : qEnvironmentVariable("TAVRIN_SERVICE_TOKEN");
    if (parser.isSet(token) && sharedToken.isEmpty())
        return QStringLiteral("--token needs a non-empty token.");
    if (!sharedToken.isEmpty())
        options.token = sharedToken;
    if (!options.token)
        return QStringLiteral("Nobody could ask: give a shared token with --token.");
    auto upstream = UpstreamOptions::read(parser);
    if (const QString* problem = std::get_if<QString>(&upstream))
        return *problem;
    options.upstream = std::get<std::optional<UpstreamSettings>>(std::move(upstream));
    return options;
}
