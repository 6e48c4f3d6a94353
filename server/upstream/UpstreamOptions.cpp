#include "UpstreamOptions.h"

#include <QCommandLineParser>

namespace {

const QString upstreamName = QStringLiteral("upstream");
const QString modelName = QStringLiteral("model");
const QString keyVariableName = QStringLiteral("api-key-env");
const QLatin1String completionsPath("/chat/completions");

} // namespace

namespace UpstreamOptions {

QList<QCommandLineOption> all()
{
    return {
        QCommandLineOption(
            upstreamName,
            QStringLiteral("Answer with a language model behind this OpenAI-compatible server, "
                           "e.g. http://127.0.0.1:11434/v1 (default: the offline engine)."),
            QStringLiteral("URL")),
        QCommandLineOption(modelName, QStringLiteral("The model the upstream server should use."),
                           QStringLiteral("NAME")),
        QCommandLineOption(keyVariableName,
                           QStringLiteral("Environment variable that holds the upstream's API key."),
                           QStringLiteral("VARIABLE")),
    };
}

QUrl endpointFor(const QUrl& base)
{
    QUrl endpoint = base;
    QString path = base.path();
    if (path.endsWith(completionsPath))
        return endpoint;
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    endpoint.setPath(path + completionsPath);
    return endpoint;
}

std::variant<std::optional<UpstreamSettings>, QString> read(const QCommandLineParser& parser)
{
    if (!parser.isSet(upstreamName)) {
        for (const QString& dependent : {modelName, keyVariableName}) {
            if (parser.isSet(dependent))
                return QStringLiteral("--%1 only applies with --upstream.").arg(dependent);
        }
        return std::nullopt;
    }
    const QString given = parser.value(upstreamName).trimmed();
    const QUrl base(given, QUrl::StrictMode);
    const bool web = base.scheme() == QLatin1String("http") || base.scheme() == QLatin1String("https");
    if (!base.isValid() || !web || base.host().isEmpty())
        return QStringLiteral(
                   "--upstream needs an http or https URL such as http://127.0.0.1:11434/v1, not \"%1\".")
            .arg(given);
    if (!base.userInfo().isEmpty())
        return QStringLiteral("--upstream must not carry credentials: put the API key in an environment "
                              "variable and name it with --api-key-env.");

    UpstreamSettings settings;
    settings.endpoint = endpointFor(base);
    settings.model = parser.value(modelName).trimmed();
    if (settings.model.isEmpty())
        return QStringLiteral("--upstream needs --model: the name of the model the server should use.");
    if (parser.isSet(keyVariableName)) {
        const QString variable = parser.value(keyVariableName);
        if (!qEnvironmentVariableIsSet(variable.toLocal8Bit().constData()))
            return QStringLiteral("The environment variable %1 named by --api-key-env is not set.")
                .arg(variable);
        settings.apiKey = qEnvironmentVariable(variable.toLocal8Bit().constData()).trimmed();
        if (settings.apiKey.isEmpty())
            return QStringLiteral("The environment variable %1 named by --api-key-env is empty.")
                .arg(variable);
    }
    return settings;
}

} // namespace UpstreamOptions
