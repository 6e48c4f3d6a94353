#include "views/PairModel.h"

PairModel::PairModel(std::optional<AgentConfig> config, QObject* parent)
    : PairModel(
          std::move(config), [] { return QDateTime::currentDateTimeUtc(); }, parent)
{}

PairModel::PairModel(std::optional<AgentConfig> config, Clock clock, QObject* parent)
    : QObject(parent), m_config(std::move(config)), m_clock(std::move(clock))
{
    m_ticker.setInterval(1000);
    connect(&m_ticker, &QTimer::timeout, this, &PairModel::tick);
}

QString PairModel::legacyLink() const
{
    if (!m_config)
        return {};
    const std::optional<QUrl> link = m_config->legacyPairingURL();
    return link ? link->toString(QUrl::FullyEncoded) : QString();
}

QString PairModel::countdownText(qint64 seconds)
{
    if (seconds < 1)
        return QStringLiteral("Expired");
    return QStringLiteral("Expires in %1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

void PairModel::setConfig(const std::optional<AgentConfig>& config)
{
    // Answers still on their way belong to the previous configuration.
    ++m_generation;
    m_config = config;
    m_pairing.reset();
    m_legacy = false;
    m_message.reset();
    m_countdown.clear();
    emit pairingChanged();
    emit legacyChanged();
    emit messageChanged();
    emit countdownChanged();
}

void PairModel::disappeared()
{
    m_ticker.stop();
}

void PairModel::appeared()
{
    m_ticker.start();
    load();
}

void PairModel::load()
{
    if (!m_config)
        return;
    AuthClient::newPairingCode(*m_config, &m_requests,
                               [this, generation = m_generation](const Result<AuthClient::Pairing>& answer) {
                                   if (generation == m_generation)
                                       apply(answer);
                               });
}

void PairModel::apply(const Result<AuthClient::Pairing>& answer)
{
    if (answer.ok()) {
        m_pairing = answer.value();
        m_expires = m_clock().addSecs(answer.value().expiresIn);
        setMessage(std::nullopt);
        emit pairingChanged();
        tick();
        return;
    }
    const Error& error = answer.error();
    // A server without accounts has no pairing route: its shared token is paired the old way.
    if (error.domain == AuthClient::failureDomain && error.message.contains(QLatin1String("404"))) {
        if (!m_legacy) {
            m_legacy = true;
            emit legacyChanged();
        }
        return;
    }
    setMessage(error.message);
}

void PairModel::setMessage(const std::optional<QString>& message)
{
    if (message != m_message) {
        m_message = message;
        emit messageChanged();
    }
}

void PairModel::tick()
{
    if (!m_pairing)
        return;
    // Whole seconds, cut toward zero.
    const QString text = countdownText(m_clock().msecsTo(m_expires) / 1000);
    if (text != m_countdown) {
        m_countdown = text;
        emit countdownChanged();
    }
}
