#pragma once

#include <QWidget>

class BusySpinner;
class PairModel;
class QLabel;
class QrView;
class ThemedLabel;

// The pairing window's content: a fresh code for another device as text and QR code with its
// countdown, the legacy link of a server without accounts, or what went wrong.
class PairView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int fixedWidth = 360;
    static constexpr int qrSide = 220;

    explicit PairView(PairModel& model, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* makeSignedOut();
    QWidget* makePairing();
    QWidget* makeLegacy();
    QWidget* makeFailure();
    void showState();

    PairModel& m_model;
    QWidget* m_signedOut = nullptr;
    QWidget* m_pairing = nullptr;
    QWidget* m_legacy = nullptr;
    QWidget* m_failure = nullptr;
    BusySpinner* m_spinner = nullptr;
    ThemedLabel* m_signedOutText = nullptr;
    QrView* m_pairingQr = nullptr;
    QLabel* m_code = nullptr;
    ThemedLabel* m_countdown = nullptr;
    QrView* m_legacyQr = nullptr;
    ThemedLabel* m_message = nullptr;
};
