#include "ViewChecks.h"
#include "WindowReplies.h"
#include "views/PairModel.h"
#include "views/PairView.h"

#include <QLabel>
#include <QTest>

namespace {

// The texts shown under `root`, in order.
QStringList shownTexts(QWidget* root)
{
    QStringList texts;
    for (QLabel* label : root->findChildren<QLabel*>()) {
        if (label->isVisibleTo(root) && !label->text().isEmpty())
            texts << label->text();
    }
    return texts;
}

} // namespace

class PairViewTest : public QObject
{
    Q_OBJECT

private slots:
    void signedOut()
    {
        PairModel model(std::nullopt);
        PairView view(model);
        view.show();
        QCOMPARE(shownTexts(&view), (QStringList{"Add your iPhone", "Sign in on this computer first."}));
        QVERIFY(!visibleButton(&view, QStringLiteral("Try again")));
    }

    void aCodeWithItsQrAndCountdown()
    {
        ScriptedServer service;
        service.enqueue(WindowReplies::pairing("K7PQ4M2X", 300));
        PairModel model(signedIn(service));
        PairView view(model);
        view.show();
        QTRY_VERIFY(view.findChild<QLabel*>(QStringLiteral("code"))->isVisibleTo(&view));
        QCOMPARE(view.findChild<QLabel*>(QStringLiteral("code"))->text(), QStringLiteral("K7PQ4M2X"));
        const QString countdown = view.findChild<QLabel*>(QStringLiteral("countdown"))->text();
        QVERIFY2(countdown == QLatin1String("Expires in 5:00") ||
                     countdown == QLatin1String("Expires in 4:59"),
                 qPrintable(countdown));
        QVERIFY(visibleButton(&view, QStringLiteral("New code")));
        QVERIFY2(unnamedControls(&view).isEmpty(), qPrintable(unnamedControls(&view).join(", ")));

        QWidget* qr = nullptr;
        for (QWidget* child : view.findChildren<QWidget*>()) {
            if (accessibleName(child) == QLatin1String("Pairing QR code"))
                qr = child;
        }
        QCOMPARE(qr->size(), QSize(220, 220));
    }

    void aServerWithoutAccountsShowsItsLink()
    {
        ScriptedServer service;
        service.enqueue(ScriptedResponse(404));
        PairModel model(signedIn(service));
        PairView view(model);
        view.show();
        QTRY_VERIFY(model.legacy());
        QCOMPARE(shownTexts(&view),
                 (QStringList{"Add your iPhone",
                              "This server has no accounts yet; the QR carries its shared token."}));
    }

    void aRefusalOffersTryAgain()
    {
        ScriptedServer service;
        service.enqueue(WindowReplies::refusal(401, "unauthorized"));
        PairModel model(signedIn(service));
        PairView view(model);
        view.show();
        QTRY_VERIFY(visibleButton(&view, QStringLiteral("Try again")));
        QCOMPARE(shownTexts(&view), (QStringList{"Add your iPhone", "unauthorized"}));
        service.enqueue(WindowReplies::pairing("AGAIN123", 0));
        visibleButton(&view, QStringLiteral("Try again"))->click();
        QTRY_VERIFY(shownTexts(&view).contains(QStringLiteral("AGAIN123")));
        QVERIFY(shownTexts(&view).contains(QStringLiteral("Expired")));
    }

private:
    static AgentConfig signedIn(const ScriptedServer& service)
    {
        return {service.url().toString(), QStringLiteral("tok"), std::nullopt};
    }
};

QTEST_MAIN(PairViewTest)
#include "tst_pairview.moc"
