#pragma once

#include <QList>
#include <QWidget>

class QLabel;
class QTextEdit;
class Session;

// The request in the form its phase shows it: the transcript while listening, the field while typing,
// and the sent request, quoted, once it is on its way.
class PanelRequestRows : public QWidget
{
    Q_OBJECT
public:
    enum class Form { Transcript, Field, Sent };

    explicit PanelRequestRows(Session& session, QWidget* parent = nullptr);

    // Shows the request in one form; `replying` picks the field's hint.
    void showRequest(Form form, const QString& request, bool replying);
    void focusField();
    // The three rows, which come and go one by one.
    QList<QWidget*> rows() const;

private:
    QLabel* m_transcript;
    QTextEdit* m_field;
    QLabel* m_sent;
};
