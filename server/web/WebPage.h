#pragma once

#include "AskHistory.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <optional>

// The pages as HTML text. Every value from an account or a request is escaped here; the routes pass plain
// text.
namespace WebPage {

struct SignIn
{
    QString formToken;
    QString email;
    QString error;
    bool googleStandIn = false;
};
QString signIn(const SignIn& page);
// The second step of a code sign-in: the code sent to `email`.
QString enterCode(const SignIn& page);
QString googleStandIn(const SignIn& page);

struct Device
{
    int id = 0;
    QString name;
    QString client;
    QString platform;
    QDateTime added;
    QDateTime lastUsed; // invalid: not used since it signed in
    bool current = false;
};
struct Pairing
{
    QString code;
    QString qrSvg;
    qint64 secondsLeft = 0;
};
struct App
{
    static constexpr int mostShown = 200; // asks on one page
    QString formToken;
    QString email;
    QString plan;
    int asksToday = 0;
    int dailyLimit = 0; // 0: none
    QList<Device> devices;
    std::optional<Pairing> pairing;
    bool historyKept = false;
    bool historyUnreadable = false; // kept, but the file failed when read
    int retentionDays = 0;
    QString query;
    QList<AskHistory::Entry> asks;
};
QString app(const App& page);

// A short page for a failure or an outcome, with a way back unless the path is empty.
QString message(const QString& title, const QString& text, const QString& backPath, const QString& backText);

} // namespace WebPage
