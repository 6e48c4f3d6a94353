#include "WebPage.h"

#include "WebAssets.h"
#include "WebForm.h"

namespace WebPage {

namespace {

QString e(const QString& text)
{
    return text.toHtmlEscaped();
}

QString shell(const QString& title, const QString& top, const QString& mainClass, const QString& body)
{
    return QStringLiteral("<!doctype html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                          "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                          "<meta name=\"color-scheme\" content=\"light dark\">\n"
                          "<title>%1 · Tavrin</title>\n"
                          "<link rel=\"stylesheet\" href=\"/web/style.css\">\n"
                          "<link rel=\"icon\" href=\"/web/mark.svg\" type=\"image/svg+xml\">\n"
                          "<script src=\"/web/pages.js\" defer></script>\n"
                          "</head>\n<body>\n"
                          "<a class=\"skip\" href=\"#main\">Skip to content</a>\n%2"
                          "<main id=\"main\"%3>\n%4</main>\n</body>\n</html>\n")
        .arg(e(title), top, mainClass.isEmpty() ? QString() : QStringLiteral(" class=\"%1\"").arg(mainClass),
             body);
}

QString hiddenToken(const QString& token)
{
    return QStringLiteral("<input type=\"hidden\" name=\"csrf\" value=\"%1\">").arg(e(token));
}

// A page of one small card, as the sign-in steps and the messages are.
QString narrowCard(const QString& title, const QString& card)
{
    return shell(title, {}, QStringLiteral("narrow"),
                 QStringLiteral("<div class=\"card\">\n%1</div>\n").arg(card));
}

QString alert(const QString& error)
{
    return error.isEmpty() ? QString()
                           : QStringLiteral("<p class=\"alert\" role=\"alert\">%1</p>\n").arg(e(error));
}

QString signInHead(const QString& title, const QString& lead)
{
    return QStringLiteral("%1\n<h1>%2</h1>\n<p class=\"lead\">%3</p>\n")
        .arg(WebAssets::mark(), e(title), lead);
}

QString isoTime(const QDateTime& when)
{
    return when.toUTC().toString(Qt::ISODate);
}

// Shown until the page's script puts the reader's own time zone in its place.
QString readableTime(const QDateTime& when)
{
    return QStringLiteral("<time datetime=\"%1\">%2</time>")
        .arg(isoTime(when), when.toUTC().toString(QStringLiteral("d MMM yyyy, HH:mm 'UTC'")));
}

QString plan(const QString& name)
{
    return name.isEmpty() ? QStringLiteral("Free") : name.left(1).toUpper() + name.mid(1);
}

// What kind of device it is, in words. The agent reports the same platform value on every system, so
// its kind of client says more.
QString kind(const Device& device)
{
    if (device.client == QLatin1String("app"))
        return QStringLiteral("Tavrin app");
    if (device.client == QLatin1String("web"))
        return QStringLiteral("Browser");
    return device.platform.isEmpty() ? QStringLiteral("Other device") : device.platform;
}

QString accountCard(const App& page)
{
    const QString usage = page.dailyLimit > 0
                              ? QStringLiteral("%1 of %2").arg(page.asksToday).arg(page.dailyLimit)
                              : QStringLiteral("No daily limit");
    return QStringLiteral("<section class=\"card\" aria-labelledby=\"account-title\">\n"
                          "<header><h2 id=\"account-title\">Account</h2></header>\n"
                          "<dl class=\"facts\">\n<dt>E-mail</dt><dd>%1</dd>\n<dt>Plan</dt><dd>%2</dd>\n"
                          "<dt>Asks today</dt><dd>%3</dd>\n</dl>\n</section>\n")
        .arg(e(page.email), e(plan(page.plan)), e(usage));
}

QString devicesCard(const App& page)
{
    QString rows;
    for (const Device& device : page.devices) {
        const QString nameId = QStringLiteral("device-%1").arg(device.id);
        rows +=
            QStringLiteral("<li>\n<div class=\"grow\"><div class=\"name\" id=\"%1\">%2%3</div>\n"
                           "<div class=\"hint\">%4 · last used %5</div></div>\n"
                           "<form method=\"post\" action=\"/app/devices/%6/revoke\">%7"
                           "<button class=\"outline destructive\" type=\"submit\" aria-describedby=\"%1\">"
                           "Sign out this device</button></form>\n</li>\n")
                .arg(nameId, e(device.name.isEmpty() ? QStringLiteral("Unnamed device") : device.name),
                     device.current ? QStringLiteral("<span class=\"badge\">This browser</span>") : QString(),
                     e(kind(device)),
                     readableTime(device.lastUsed.isValid() ? device.lastUsed : device.added),
                     QString::number(device.id), hiddenToken(page.formToken));
    }
    const QString list = rows.isEmpty() ? QStringLiteral("<p class=\"note\">No device is signed in.</p>\n")
                                        : QStringLiteral("<ul class=\"rows\">\n%1</ul>\n").arg(rows);
    return QStringLiteral("<section class=\"card\" id=\"devices\" aria-labelledby=\"devices-title\">\n"
                          "<header><h2 id=\"devices-title\">Devices</h2>\n"
                          "<p class=\"hint\">Signing a device out ends its access at once.</p></header>\n%1"
                          "</section>\n")
        .arg(list);
}

QString pairingCard(const App& page)
{
    QString shown;
    if (page.pairing) {
        const qint64 left = page.pairing->secondsLeft;
        shown =
            QStringLiteral("<div class=\"pairing\" id=\"pairing-code\">\n%1\n<div>\n"
                           "<p class=\"code\"><span class=\"visually-hidden\">Pairing code: </span>%2</p>\n"
                           "<p class=\"hint\" id=\"countdown\" role=\"timer\" data-seconds=\"%3\">"
                           "Expires in %4:%5</p>\n</div>\n</div>\n")
                .arg(page.pairing->qrSvg, e(page.pairing->code), QString::number(left),
                     QString::number(left / 60),
                     QStringLiteral("%1").arg(left % 60, 2, 10, QLatin1Char('0')));
    }
    return QStringLiteral(
               "<section class=\"card\" id=\"pairing\" aria-labelledby=\"pairing-title\">\n"
               "<header><h2 id=\"pairing-title\">Add a device</h2>\n"
               "<p class=\"hint\">On the other computer choose Pair with a code and type the code, "
               "or scan the QR code with its camera.</p></header>\n"
               "<form method=\"post\" action=\"/app/pairing\">%1"
               "<button class=\"%2\" type=\"submit\">New pairing code</button></form>\n%3"
               "</section>\n")
        .arg(hiddenToken(page.formToken),
             page.pairing ? QStringLiteral("outline") : QStringLiteral("primary"), shown);
}

QString askItem(const App& page, const AskHistory::Entry& ask)
{
    const QString requestId = QStringLiteral("ask-%1").arg(ask.id);
    QString meta = QStringLiteral("<span>%1</span>").arg(readableTime(ask.at));
    if (!ask.app.isEmpty())
        meta += QStringLiteral("<span>%1</span>").arg(e(ask.app));
    if (!ask.route.isEmpty())
        meta += QStringLiteral("<span>%1</span>").arg(e(ask.route));
    return QStringLiteral("<li>\n<div class=\"ask-head\"><div class=\"grow ask-meta\">%1</div>\n"
                          "<form method=\"post\" action=\"/app/history/%2/delete\">%3"
                          "<input type=\"hidden\" name=\"q\" value=\"%4\">"
                          "<button class=\"outline\" type=\"submit\" aria-describedby=\"%5\">Delete</button>"
                          "</form></div>\n"
                          "<p class=\"request\" id=\"%5\">%6</p>\n<p class=\"answer\">%7</p>\n</li>\n")
        .arg(meta, QString::number(ask.id), hiddenToken(page.formToken), e(page.query), requestId,
             e(ask.request), e(ask.answer));
}

QString historyCard(const App& page)
{
    QString body;
    if (!page.historyKept) {
        body = QStringLiteral(
            "<p class=\"note\">History is off on this service: asks and answers are not kept. The person "
            "who runs it can turn history on with the <code>--history</code> option.</p>\n");
    } else {
        body =
            QStringLiteral("<form class=\"search\" role=\"search\" method=\"get\" action=\"/app#history\">\n"
                           "<label class=\"visually-hidden\" for=\"q\">Search history</label>\n"
                           "<input type=\"search\" id=\"q\" name=\"q\" value=\"%1\" "
                           "placeholder=\"Search asks and answers\">\n"
                           "<button class=\"outline\" type=\"submit\">Search</button>\n</form>\n")
                .arg(e(page.query));
        QString items;
        for (const AskHistory::Entry& ask : page.asks)
            items += askItem(page, ask);
        if (!page.query.isEmpty() && !page.historyUnreadable) {
            body +=
                QStringLiteral(
                    "<p class=\"hint\" role=\"status\">%1 <a href=\"/app#history\">Show all</a></p>\n")
                    .arg(
                        e(page.asks.isEmpty() ? QStringLiteral("Nothing matches “%1”.").arg(page.query)
                          : page.asks.size() == 1
                              ? QStringLiteral("1 ask matches “%1”.").arg(page.query)
                              : QStringLiteral("%1 asks match “%2”.").arg(page.asks.size()).arg(page.query)));
        }
        if (page.historyUnreadable)
            body += alert(QStringLiteral("Your history could not be read just now. Reload the page to try "
                                         "again; if this goes on, tell the person who runs this service."));
        else if (!items.isEmpty())
            body += QStringLiteral("<ul class=\"asks\">\n%1</ul>\n").arg(items);
        else if (page.query.isEmpty())
            body += QStringLiteral("<p class=\"note\">No asks yet. Each answer you get is kept here.</p>\n");
        const QString shown =
            page.asks.size() >= App::mostShown
                ? QStringLiteral("Showing the newest %1; search to find older ones. ").arg(App::mostShown)
                : QString();
        body +=
            QStringLiteral("<div class=\"history-foot\"><p class=\"hint\">%1Asks are kept for %2 days.</p>\n")
                .arg(shown, QString::number(page.retentionDays));
        if (!page.asks.isEmpty() || !page.query.isEmpty())
            body += QStringLiteral("<form method=\"post\" action=\"/app/history/delete-all\" "
                                   "data-confirm=\"Delete your whole history? This cannot be undone.\">%1"
                                   "<button class=\"outline destructive\" type=\"submit\">Delete all</button>"
                                   "</form>\n")
                        .arg(hiddenToken(page.formToken));
        body += QStringLiteral("</div>\n");
    }
    return QStringLiteral("<section class=\"card\" id=\"history\" aria-labelledby=\"history-title\">\n"
                          "<header><h2 id=\"history-title\">History</h2></header>\n%1</section>\n")
        .arg(body);
}

} // namespace

QString signIn(const SignIn& page)
{
    QString body = signInHead(QStringLiteral("Sign in to Tavrin"),
                              QStringLiteral("Your devices, your pairing codes and your history.")) +
                   alert(page.error);
    // One address for both ways in: the code button sends the same form elsewhere, without the password.
    const QString codeButton =
        QStringLiteral("<p class=\"or\">or</p>\n"
                       "<button class=\"outline wide\" type=\"submit\" "
                       "formaction=\"/signin/code\" formnovalidate>Email me a code</button>\n");
    // After a failed try the address is filled in, so the keyboard starts at the password.
    body += QStringLiteral(
                "<form method=\"post\" action=\"/signin/password\" data-keep-place>%1\n"
                "<label for=\"email\">E-mail</label>\n"
                "<input type=\"email\" id=\"email\" name=\"email\" value=\"%2\" autocomplete=\"username\" "
                "required%4>\n"
                "<label for=\"password\">Password</label>\n"
                "<input type=\"password\" id=\"password\" name=\"password\" "
                "autocomplete=\"current-password\" required%5>\n"
                "<button class=\"primary wide\" type=\"submit\">Sign in</button>\n%3</form>\n")
                .arg(hiddenToken(page.formToken), e(page.email), codeButton,
                     page.email.isEmpty() ? QStringLiteral(" autofocus") : QString(),
                     page.email.isEmpty() ? QString() : QStringLiteral(" autofocus"));
    if (page.googleStandIn) {
        body += QStringLiteral("<form method=\"get\" action=\"/signin/google\">"
                               "<button class=\"outline wide\" type=\"submit\">Continue with Google "
                               "(development stand-in)</button></form>\n");
    }
    return narrowCard(QStringLiteral("Sign in"), body);
}

QString enterCode(const SignIn& page)
{
    const QString body =
        signInHead(QStringLiteral("Check your e-mail"),
                   QStringLiteral("If <strong>%1</strong> has an account here, a code is on its way. It "
                                  "stays valid for 10 minutes.")
                       .arg(e(page.email))) +
        alert(page.error) +
        QStringLiteral("<form method=\"post\" action=\"/signin/code/verify\" data-keep-place>%1\n"
                       "<input type=\"hidden\" name=\"email\" value=\"%2\">\n"
                       "<label for=\"code\">Code</label>\n"
                       "<input type=\"text\" id=\"code\" name=\"code\" inputmode=\"numeric\" "
                       "autocomplete=\"one-time-code\" required autofocus>\n"
                       "<button class=\"primary wide\" type=\"submit\">Sign in</button>\n</form>\n"
                       "<p class=\"hint\"><a href=\"/signin\">Use another address</a></p>\n")
            .arg(hiddenToken(page.formToken), e(page.email));
    return narrowCard(QStringLiteral("Enter your code"), body);
}

QString googleStandIn(const SignIn& page)
{
    const QString body =
        signInHead(QStringLiteral("Sign in with Google"),
                   QStringLiteral("This is the service's development stand-in for Google: no Google account "
                                  "is involved, and it signs in as any address that has an account.")) +
        alert(page.error) +
        QStringLiteral("<form method=\"post\" action=\"/signin/google\">%1\n"
                       "<label for=\"email\">E-mail</label>\n"
                       "<input type=\"email\" id=\"email\" name=\"email\" value=\"%2\" required autofocus>\n"
                       "<button class=\"primary wide\" type=\"submit\">Continue</button>\n</form>\n"
                       "<p class=\"hint\"><a href=\"/signin\">Back to sign-in</a></p>\n")
            .arg(hiddenToken(page.formToken), e(page.email));
    return narrowCard(QStringLiteral("Sign in with Google"), body);
}

QString app(const App& page)
{
    const QString top = QStringLiteral("<header class=\"top\">\n"
                                       "<a class=\"brand\" href=\"/app\">%1<span>Tavrin</span></a>\n"
                                       "<span class=\"who\">%2</span>\n"
                                       "<form method=\"post\" action=\"/signout\">%3"
                                       "<button class=\"outline\" type=\"submit\">Sign out</button></form>\n"
                                       "</header>\n")
                            .arg(WebAssets::mark(), e(page.email), hiddenToken(page.formToken));
    return shell(QStringLiteral("Settings"), top, {},
                 QStringLiteral("<h1 class=\"visually-hidden\">Settings and history</h1>\n") +
                     accountCard(page) + devicesCard(page) + pairingCard(page) + historyCard(page));
}

QString message(const QString& title, const QString& text, const QString& backPath, const QString& backText)
{
    const QString back = backPath.isEmpty()
                             ? QString()
                             : QStringLiteral("<p><a href=\"%1\">%2</a></p>\n").arg(e(backPath), e(backText));
    return narrowCard(
        title,
        QStringLiteral("%1\n<h1>%2</h1>\n<p>%3</p>\n%4").arg(WebAssets::mark(), e(title), e(text), back));
}

} // namespace WebPage
