#include "EditorDriver.h"

#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusReply>
#include <atspi/atspi-constants.h>

namespace {

// An accessible object: its application's name on the accessibility bus and its path there.
struct Object
{
    QString service;
    QString path;
};

const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString textInterface = QStringLiteral("org.a11y.atspi.Text");

// The first value of the reply, or an invalid one when there is none.
QVariant ask(const QDBusConnection& bus, const Object& object, const QString& interface,
             const QString& method, const QVariantList& arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(object.service, object.path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = bus.call(message, QDBus::Block, 3000);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QList<Object> children(const QDBusConnection& bus, const Object& object)
{
    QList<Object> found;
    const QVariant reply = ask(bus, object, accessibleInterface, QStringLiteral("GetChildren"));
    if (!reply.canConvert<QDBusArgument>())
        return found;
    const QDBusArgument array = reply.value<QDBusArgument>();
    array.beginArray();
    while (!array.atEnd()) {
        QString service;
        QDBusObjectPath path;
        array.beginStructure();
        array >> service >> path;
        array.endStructure();
        found.append({service, path.path()});
    }
    array.endArray();
    return found;
}

// The first editable text under object, depth first, looking at no more than budget objects.
std::optional<Object> findEditable(const QDBusConnection& bus, const Object& object, int& budget)
{
    if (--budget < 0)
        return std::nullopt;
    if (ask(bus, object, accessibleInterface, QStringLiteral("GetRole")).toUInt() == ATSPI_ROLE_TEXT &&
        ask(bus, object, accessibleInterface, QStringLiteral("GetInterfaces"))
            .toStringList()
            .contains(QStringLiteral("org.a11y.atspi.EditableText")))
        return object;
    for (const Object& child : children(bus, object)) {
        if (std::optional<Object> found = findEditable(bus, child, budget))
            return found;
    }
    return std::nullopt;
}

} // namespace

// A connection of its own to the accessibility bus: libatspi would share its one connection, its time-out
// and its dispatching with the capture under test in this process.
struct EditorDriver::Node
{
    QDBusConnection bus;
    Object editable;
};

EditorDriver::EditorDriver(qint64 processId)
{
    const QDBusReply<QString> address = QDBusConnection::sessionBus().call(
        QDBusMessage::createMethodCall(QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
                                       QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress")));
    const QString name = QStringLiteral("editor-driver-%1").arg(quintptr(this));
    m_node.reset(new Node{QDBusConnection::connectToBus(address.value(), name), {}});
    const Object registry{QStringLiteral("org.a11y.atspi.Registry"),
                          QStringLiteral("/org/a11y/atspi/accessible/root")};
    for (const Object& app : children(m_node->bus, registry)) {
        int budget = 5000;
        if (m_node->bus.interface()->servicePid(app.service).value() != quint64(processId))
            continue;
        if (const std::optional<Object> editable = findEditable(m_node->bus, app, budget)) {
            m_node->editable = *editable;
            return;
        }
    }
}

EditorDriver::~EditorDriver()
{
    QDBusConnection::disconnectFromBus(m_node->bus.name());
}

bool EditorDriver::isReady() const
{
    return !m_node->editable.path.isEmpty();
}

bool EditorDriver::setText(const QString& text)
{
    return isReady() && ask(m_node->bus, m_node->editable, QStringLiteral("org.a11y.atspi.EditableText"),
                            QStringLiteral("SetTextContents"), {text})
                            .toBool();
}

bool EditorDriver::select(int start, int end)
{
    const auto done = [this](const char* method, const QVariantList& arguments) {
        return ask(m_node->bus, m_node->editable, textInterface, QLatin1String(method), arguments).toBool();
    };
    if (!isReady() || !done("SetCaretOffset", {start}))
        return false;
    return start == end || done("SetSelection", {0, start, end}) || done("AddSelection", {start, end});
}

QString EditorDriver::text() const
{
    return isReady() ? ask(m_node->bus, m_node->editable, textInterface, QStringLiteral("GetText"), {0, -1})
                           .toString()
                     : QString();
}
