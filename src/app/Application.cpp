#include "app/Application.h"

#include "app/AppDelegate.h"

#include <QApplication>
#include <QIcon>
#include <cstdio>

namespace Application {

namespace {

enum class HandOver { Delivered, NoInstance, Failed };

HandOver handOver(const InstanceMessage& message)
{
    const Result<bool> sent = InstanceChannel::send(message);
    if (!sent.ok()) {
        std::fprintf(stderr, "tavrin: %s\n", qUtf8Printable(sent.error().message));
        return HandOver::Failed;
    }
    return sent.value() ? HandOver::Delivered : HandOver::NoInstance;
}

} // namespace

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

InstanceMessage requestOf(const QStringList& arguments)
{
    for (const QString& argument : arguments.mid(1)) {
        if (argument == u"--panel")
            return {InstanceMessage::Kind::OpenPanel, {}};
        if (argument == u"--reply")
            return {InstanceMessage::Kind::Reply, {}};
        if (argument.startsWith(u"morvik:"))
            return {InstanceMessage::Kind::OpenUrl, QUrl(argument)};
    }
    return {InstanceMessage::Kind::ShowHome, {}};
}

int run(int& argc, char** argv, const QStringList& arguments)
{
    const InstanceMessage request = requestOf(arguments);
    switch (handOver(request)) {
    case HandOver::Delivered:
        return 0;
    case HandOver::Failed:
        return 1;
    case HandOver::NoInstance:
        break;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tavrin"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tavrin"));
    QApplication::setApplicationVersion(QStringLiteral(TAVRIN_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("tavrin"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/tavrin.svg")));

    InstanceChannel channel;
    if (const Result<void> listening = channel.listen(); !listening.ok()) {
        // Another start slipped in since our first look: it is the instance now.
        if (listening.error().message == InstanceChannel::alreadyRunning &&
            handOver(request) == HandOver::Delivered)
            return 0;
        std::fprintf(stderr, "tavrin: %s\n", qUtf8Printable(listening.error().message));
        return 1;
    }

    AppDelegate delegate;
    QObject::connect(&channel, &InstanceChannel::received, &delegate, &AppDelegate::handle);
    delegate.launch();
    if (request.kind != InstanceMessage::Kind::ShowHome)
        delegate.handle(request);
    return QApplication::exec();
}

} // namespace Application
