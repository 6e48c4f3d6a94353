#include "ViewChecks.h"
#include "WindowReplies.h"
#include "views/PairModel.h"
#include "views/PairView.h"
#include "views/QrImage.h"

#include <QImage>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

using WindowReplies::pairing;

namespace {

// A clock that moves only when the test says.
struct StoppedClock
{
    QDateTime now = QDateTime(QDate(2026, 3, 14), QTime(9, 0), Qt::UTC);
    PairModel::Clock clock()
    {
        return [this] { return now; };
    }
};

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

// The pairing window: its model over the scripted service, and what the view shows of it.
class PairWindowTest : public QObject
{
    Q_OBJECT

private slots:
    // The shown window ticks its countdown every second by itself; whole seconds are cut toward zero.
    void theWindowShowsTheCodeAndItsQr()
    {
        m_server.enqueue(pairing("K7PQ4M2X", 300));
        StoppedClock time;
        PairModel model(signedIn(), time.clock());
        PairView view(model);
        view.show();
        auto* code = view.findChild<QLabel*>(QStringLiteral("code"));
        QTRY_VERIFY(code->isVisibleTo(&view));
        QCOMPARE(code->text(), QStringLiteral("K7PQ4M2X"));
        auto* countdown = view.findChild<QLabel*>(QStringLiteral("countdown"));
        QCOMPARE(countdown->text(), QStringLiteral("Expires in 5:00"));
        time.now = time.now.addMSecs(28400);
        QTRY_COMPARE_WITH_TIMEOUT(countdown->text(), QStringLiteral("Expires in 4:31"), 2500);
        QVERIFY(visibleButton(&view, QStringLiteral("New code")));
        QVERIFY2(unnamedControls(&view).isEmpty(), qPrintable(unnamedControls(&view).join(", ")));
        QWidget* qr = nullptr;
        for (QWidget* child : view.findChildren<QWidget*>()) {
            if (accessibleName(child) == QLatin1String("Pairing QR code"))
                qr = child;
        }
        QCOMPARE(qr->size(), QSize(220, 220));
    }

    // The messages of a refusal come from the account client; a server without accounts is the one
    // failure the model turns into something else: the link that carries the shared token.
    void aServerWithoutAccountsOffersItsToken()
    {
        m_server.enqueue(ScriptedResponse(404));
        PairModel model(signedIn());
        PairView view(model);
        view.show();
        QTRY_VERIFY(model.legacy());
        QVERIFY(!model.hasMessage());
        const QUrl link(model.legacyLink());
        QCOMPARE(link.scheme(), QStringLiteral("morvik"));
        QCOMPARE(QUrlQuery(link).queryItemValue("token"), QStringLiteral("tok-9"));
        QCOMPARE(shownTexts(&view),
                 (QStringList{"Add your iPhone",
                              "This server has no accounts yet; the QR carries its shared token."}));
    }

    void aRefusalOffersTryAgain()
    {
        m_server.enqueue(WindowReplies::refusal(401, "unauthorized"));
        PairModel model(signedIn());
        PairView view(model);
        view.show();
        QTRY_VERIFY(visibleButton(&view, QStringLiteral("Try again")));
        QCOMPARE(shownTexts(&view), (QStringList{"Add your iPhone", "unauthorized"}));
        m_server.enqueue(pairing("AGAIN123", 0));
        visibleButton(&view, QStringLiteral("Try again"))->click();
        QTRY_VERIFY(shownTexts(&view).contains(QStringLiteral("AGAIN123")));
        QVERIFY(shownTexts(&view).contains(QStringLiteral("Expired")));
    }

    // A code nobody's camera can read would leave pairing by QR broken with nothing else failing.
    void theQrCodeReadsBackAsTheLink()
    {
        const QString link =
            QStringLiteral("morvik://pair?code=ABCD2345&server=http%3A%2F%2F127.0.0.1%3A8080");
        const std::optional<QImage> image = QrImage::encode(link, 3);
        QVERIFY(image);
        QTemporaryDir dir;
        const QString png = dir.filePath(QStringLiteral("qr.png"));
        QVERIFY(image->save(png));
        QProcess zbar;
        zbar.start(QStringLiteral("zbarimg"), {QStringLiteral("--raw"), QStringLiteral("-q"), png});
        QVERIFY(zbar.waitForFinished(20000));
        QCOMPARE(zbar.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(zbar.readAllStandardOutput()).chopped(1), link);
    }

private:
    AgentConfig signedIn() const
    {
        return {m_server.url().toString(), QStringLiteral("tok-9"), std::nullopt};
    }

    ScriptedServer m_server;
};

QTEST_MAIN(PairWindowTest)
#include "tst_pairwindow.moc"
