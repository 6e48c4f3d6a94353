#include "app/AskShortcuts.h"

#include "desktop/HotKey.h"

namespace {

constexpr Qt::KeyboardModifiers chordModifiers =
    Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier;

KeyChord chordOf(const QKeySequence& shortcut)
{
    const QKeyCombination combination = shortcut[0];
    return {combination.key(), combination.keyboardModifiers() & chordModifiers};
}

} // namespace

struct AskShortcuts::Pair
{
    HotKey ask;
    HotKey reply;

    Pair(const QKeySequence& shortcut, HotKeyPlatform& platform)
        : ask(chordOf(shortcut), platform), reply(chordOf(AskShortcuts::replyShortcut(shortcut)), platform)
    {}
};

AskShortcuts::AskShortcuts(HotKeyPlatform& platform, QObject* parent) : QObject(parent), m_platform(platform)
{}

AskShortcuts::~AskShortcuts() = default;

bool AskShortcuts::isUsable(const QKeySequence& shortcut)
{
    if (shortcut.count() != 1)
        return false;
    const QKeyCombination combination = shortcut[0];
    const Qt::KeyboardModifiers modifiers = combination.keyboardModifiers();
    const Qt::Key key = combination.key();
    const bool modifierKey = key == Qt::Key_Control || key == Qt::Key_Alt || key == Qt::Key_Meta ||
                             key == Qt::Key_Shift || key == Qt::Key_Super_L || key == Qt::Key_Super_R ||
                             key == Qt::Key_AltGr;
    return !modifierKey && key != Qt::Key_unknown && !(modifiers & Qt::ShiftModifier) &&
           (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
}

QKeySequence AskShortcuts::replyShortcut(const QKeySequence& shortcut)
{
    const QKeyCombination combination = shortcut[0];
    return QKeySequence(
        QKeyCombination(combination.keyboardModifiers() | Qt::ShiftModifier, combination.key()));
}

void AskShortcuts::install(const QKeySequence& shortcut)
{
    adopt(registerPair(shortcut), shortcut);
}

AskShortcuts::Outcome AskShortcuts::change(const QKeySequence& shortcut)
{
    if (!isUsable(shortcut))
        return Outcome::Unusable;
    if (shortcut == m_shortcut && isRegistered())
        return Outcome::Registered;
    std::unique_ptr<Pair> pair = registerPair(shortcut);
    if (!pair->ask.isRegistered() || !pair->reply.isRegistered())
        return Outcome::Taken;
    adopt(std::move(pair), shortcut);
    return Outcome::Registered;
}

bool AskShortcuts::isRegistered() const
{
    return m_pair && m_pair->ask.isRegistered();
}

std::unique_ptr<AskShortcuts::Pair> AskShortcuts::registerPair(const QKeySequence& shortcut)
{
    // Registering the same chord twice from one process would be refused by our own old grab.
    if (m_pair && shortcut == m_shortcut)
        m_pair.reset();
    return std::make_unique<Pair>(shortcut, m_platform);
}

void AskShortcuts::adopt(std::unique_ptr<Pair> pair, const QKeySequence& shortcut)
{
    connect(&pair->ask, &HotKey::pressed, this, &AskShortcuts::askPressed);
    connect(&pair->ask, &HotKey::released, this, &AskShortcuts::askReleased);
    connect(&pair->reply, &HotKey::pressed, this, &AskShortcuts::replyPressed);
    m_pair = std::move(pair);
    m_shortcut = shortcut;
    emit shortcutChanged();
}
