#pragma once

#include "config/AgentConfig.h"

#include <QString>
#include <optional>

class QMenu;
class QObject;

// What the status menu's items do; the application implements them.
class StatusMenuActions
{
public:
    virtual ~StatusMenuActions() = default;

    virtual void askFromMenu() = 0;
    virtual void replyFromMenu() = 0;
    virtual void toggleAutoInsert() = 0;
    virtual void showHome() = 0;
    virtual void openSettings() = 0;
    virtual void openHistory() = 0;
    virtual void showPair() = 0;
    virtual void signOut() = 0;
    virtual void showSignIn() = 0;
    virtual void grantAccessibility() = 0;
    virtual void quit() = 0;
};

// Everything the menu shows, read when it is built; its items are always built afresh, never edited.
struct StatusMenuState
{
    std::optional<AgentConfig> config;
    bool autoInsert = false;
    bool accessibilityGranted = false;
};

namespace StatusMenu {

// The disabled account line: the e-mail, else the server without "https://".
QString accountText(const AgentConfig& config);

// Replaces the menu's items with those for state. The menu object itself stays: a status-notifier
// host holds on to the menu it was given. The items call actions through context; they do nothing
// once context is gone. Not to be called from inside one of the menu's own items.
void fill(QMenu& menu, const StatusMenuState& state, StatusMenuActions& actions, QObject* context);

} // namespace StatusMenu
