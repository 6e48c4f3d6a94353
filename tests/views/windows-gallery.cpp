// Shows one window in the state of the docs' screenshots (tests/views/screenshot-windows.sh):
// windows-gallery home|signin|pair light|dark
#include "WindowFakes.h"
#include "WindowReplies.h"
#include "views/HomeModel.h"
#include "views/HomeView.h"
#include "views/PairModel.h"
#include "views/PairView.h"
#include "views/SignInModel.h"
#include "views/SignInView.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTimer>

namespace {

QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(23, 23, 23));
    palette.setColor(QPalette::WindowText, QColor(250, 250, 250));
    return palette;
}

} // namespace

int main(int argc, char** argv)
{
    QTemporaryDir home;
    qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(home.filePath(QStringLiteral("config.json"))));
    QApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const QString window = arguments.value(1, QStringLiteral("home"));
    if (arguments.value(2) == QLatin1String("dark"))
        QApplication::setPalette(darkPalette());

    ScriptedServer service;
    FakeAccessibilitySwitch accessibility;
    FakeVoiceCheck voice;
    std::unique_ptr<QWidget> shown;
    std::unique_ptr<HomeModel> homeModel;
    if (window == QLatin1String("home")) {
        AgentConfig({service.url().toString(), QStringLiteral("tok"), QStringLiteral("ada@example.com")})
            .save();
        service.enqueue(WindowReplies::user("ada@example.com"));
        service.enqueue(ScriptedResponse()
                            .header("Content-Type", "text/event-stream")
                            .part("event: delta\ndata: {\"t\":\"Could you send me the file when you have a "
                                  "moment? Thank you!\"}\n"
                                  "event: done\ndata: {\"ms\":1340,\"route\":\"rewrite\"}\n"));
        accessibility.enabled = true;
        voice.status = {true, false, QString(),
                        QStringLiteral("No speech model: install the pocketsphinx-en-us package.")};
        homeModel = std::make_unique<HomeModel>(accessibility, voice);
        homeModel->setTestInput(QStringLiteral("make this polite: send me the file now"));
        auto* view = new HomeView(*homeModel);
        view->setWindowTitle(QStringLiteral("Tavrin"));
        shown.reset(view);
        QTimer::singleShot(300, homeModel.get(), &HomeModel::runTest);
    }
    std::unique_ptr<SignInModel> signInModel;
    FakeWebAuthSession browser;
    if (window == QLatin1String("signin")) {
        service.enqueue(WindowReplies::signInOptions(true, true));
        service.enqueue(WindowReplies::refusal(401, "Wrong e-mail or password."));
        signInModel = std::make_unique<SignInModel>(browser);
        signInModel->setServer(service.url().toString());
        signInModel->setEmail(QStringLiteral("ada@example.com"));
        signInModel->setPassword(QStringLiteral("not it"));
        shown = std::make_unique<SignInView>(*signInModel);
        shown->setWindowTitle(QStringLiteral("Sign in to Tavrin"));
        QTimer::singleShot(300, signInModel.get(), &SignInModel::login);
    }
    std::unique_ptr<PairModel> pairModel;
    if (window == QLatin1String("pair")) {
        service.enqueue(WindowReplies::pairing("K7PQ4M2X", 272));
        pairModel = std::make_unique<PairModel>(
            AgentConfig{service.url().toString(), QStringLiteral("tok"), QStringLiteral("ada@example.com")});
        shown = std::make_unique<PairView>(*pairModel);
        shown->setWindowTitle(QStringLiteral("Add your iPhone"));
    }
    if (!shown)
        return 2;
    shown->move(0, 0);
    shown->show();
    return app.exec();
}
