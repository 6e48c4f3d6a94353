#include "config/AgentConfig.h"

#include "config/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray encodeJsonString(const QString& text)
{
    QByteArray out;
    out.reserve(text.size() + 2);
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '/':
            out += "\\/";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                out += QByteArray("\\u00") +
                       QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0');
            else
                out += c;
        }
    }
    out += '"';
    return out;
}

} // namespace

QString AgentConfig::locate(const QByteArray& configPathVariable, const QString& homeDirectory)
{
    if (!configPathVariable.isEmpty())
        return QFileInfo(QString::fromLocal8Bit(configPathVariable)).absoluteFilePath();
    return QDir(homeDirectory).filePath(QStringLiteral(".drovane/config.json"));
}

QString AgentConfig::fileURL()
{
    // A function-local static is initialised exactly once, even when first reached from several threads.
    static const QString path = locate(qgetenv("MORVIK_CONFIG_PATH"), QDir::homePath());
    return path;
}

std::optional<AgentConfig> AgentConfig::decode(const QByteArray& bytes)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonValue server = object.value(QLatin1String("serverURL"));
    const QJsonValue token = object.value(QLatin1String("token"));
    const QJsonValue email = object.value(QLatin1String("email"));
    if (!server.isString() || !token.isString())
        return std::nullopt;
    if (!email.isUndefined() && !email.isNull() && !email.isString())
        return std::nullopt;
    AgentConfig config{server.toString(), token.toString(), std::nullopt};
    if (email.isString())
        config.email = email.toString();
    return config;
}

QByteArray AgentConfig::encode() const
{
    QByteArray out = "{\n";
    if (email)
        out += "  \"email\" : " + encodeJsonString(*email) + ",\n";
    out += "  \"serverURL\" : " + encodeJsonString(serverURL) + ",\n";
    out += "  \"token\" : " + encodeJsonString(token) + "\n}";
    return out;
}

std::optional<AgentConfig> AgentConfig::load()
{
    // Opened without waiting (a FIFO would wait for a writer) and read only as a regular file of a
    // sensible size: anything else is no configuration, at once.
    const int descriptor =
        ::open(QFile::encodeName(fileURL()).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    struct stat info
    {
    };
    QFile file;
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > maxFileBytes ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return std::nullopt;
    }
    const QByteArray bytes = file.read(maxFileBytes + 1);
    if (bytes.size() > maxFileBytes)
        return std::nullopt;
    return decode(bytes);
}

Result<void> AgentConfig::save() const
{
    if (const Result<void> folder = PrivateFile::makeDirectories(QFileInfo(fileURL()).absolutePath());
        !folder.ok())
        return folder;
    return PrivateFile::write(fileURL(), encode());
}

void AgentConfig::remove()
{
    QFile::remove(fileURL());
}

std::optional<QUrl> AgentConfig::legacyPairingURL() const
{
    QUrl url;
    url.setScheme(QStringLiteral("morvik"));
    url.setHost(QStringLiteral("configure"));
    QUrlQuery query;
    // Encode the delimiters that a query parser would otherwise split on, so both values round-trip.
    const auto encodeValue = [](const QString& value) {
        return QString::fromLatin1(QUrl::toPercentEncoding(value));
    };
    query.setQueryItems(
        {{QStringLiteral("url"), encodeValue(serverURL)}, {QStringLiteral("token"), encodeValue(token)}});
    url.setQuery(query.query(QUrl::FullyEncoded), QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}
