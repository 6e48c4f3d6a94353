#pragma once

#include <QWidget>

class BusySpinner;
class GroupBox;
class OutlineButtonStyle;
class PrimaryButtonStyle;
class QLineEdit;
class QToolButton;
class SegmentedPicker;
class SignInModel;
class ThemedLabel;

// The sign-in window's content: Google, then password, e-mailed code or pairing code, the invite step
// for a new account, the error of the last attempt and the server address.
class SignInView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int fixedWidth = 420;

    explicit SignInView(SignInModel& model, QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makePasswordFields();
    QWidget* makeCodeFields();
    QWidget* makePairingFields();
    GroupBox* makeInvite();
    QWidget* makeServer();
    QLineEdit* emailField(QWidget* parent);
    void showState();
    void showEnabling();
    void pressDefault();
    void fitWindow();

    SignInModel& m_model;
    QWidget* m_column = nullptr;
    OutlineButtonStyle* m_google = nullptr;
    SegmentedPicker* m_modes = nullptr;
    QWidget* m_passwordFields = nullptr;
    QWidget* m_codeFields = nullptr;
    QWidget* m_pairingFields = nullptr;
    QList<QLineEdit*> m_emailFields;
    QLineEdit* m_password = nullptr;
    PrimaryButtonStyle* m_signIn = nullptr;
    QLineEdit* m_emailCode = nullptr;
    PrimaryButtonStyle* m_sendCode = nullptr;
    PrimaryButtonStyle* m_submitCode = nullptr;
    QLineEdit* m_pairingCode = nullptr;
    PrimaryButtonStyle* m_pair = nullptr;
    GroupBox* m_invite = nullptr;
    QLineEdit* m_inviteCode = nullptr;
    PrimaryButtonStyle* m_createAccount = nullptr;
    ThemedLabel* m_message = nullptr;
    QToolButton* m_serverToggle = nullptr;
    QLineEdit* m_server = nullptr;
    BusySpinner* m_spinner = nullptr;
};
