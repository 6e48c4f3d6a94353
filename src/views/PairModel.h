#pragma once

#include "config/AgentConfig.h"
#include "service/AuthClient.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <optional>

// The state of the pairing window: a fresh pairing code for another device with its expiry countdown,
// or the legacy link of a server without accounts, or what went wrong.
class PairModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool hasPairing READ hasPairing NOTIFY pairingChanged)
    Q_PROPERTY(bool legacy READ legacy NOTIFY legacyChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QString countdown READ countdown NOTIFY countdownChanged)

public:
    using Clock = std::function<QDateTime()>;

    explicit PairModel(std::optional<AgentConfig> config, QObject* parent = nullptr);
    PairModel(std::optional<AgentConfig> config, Clock clock, QObject* parent = nullptr);

    const std::optional<AgentConfig>& config() const { return m_config; }
    const std::optional<AuthClient::Pairing>& pairing() const { return m_pairing; }
    bool hasPairing() const { return m_pairing.has_value(); }
    bool legacy() const { return m_legacy; }
    bool hasMessage() const { return m_message.has_value(); }
    QString message() const { return m_message.value_or(QString()); }
    QString countdown() const { return m_countdown; }
    // The configuration's legacy pairing link, empty when it has none.
    QString legacyLink() const;

    // "Expired" below one second, else "Expires in M:SS".
    static QString countdownText(qint64 seconds);

    // The window opens again for this configuration: what was shown for the previous one is forgotten.
    void setConfig(const std::optional<AgentConfig>& config);
    // The window appeared: a code is fetched and the countdown starts ticking every second.
    void appeared();
    // The window was hidden: the countdown stops until it appears again.
    void disappeared();
    // Fetches a fresh code. A code already shown stays until the new one arrives.
    void load();
    // Recomputes the countdown from the clock.
    void tick();

signals:
    void pairingChanged();
    void legacyChanged();
    void messageChanged();
    void countdownChanged();

private:
    void apply(const Result<AuthClient::Pairing>& answer);
    void setMessage(const std::optional<QString>& message);

    std::optional<AgentConfig> m_config;
    Clock m_clock;
    std::optional<AuthClient::Pairing> m_pairing;
    bool m_legacy = false;
    std::optional<QString> m_message;
    QDateTime m_expires;
    QString m_countdown;
    QTimer m_ticker;
    quint64 m_generation = 0;
    // The context of every request; declared last, so that its requests end while the state still exists.
    QObject m_requests;
};
