#pragma once

#include "app/InstanceChannel.h"

#include <QStringList>

// The desktop application's process: hands the request over to an instance already running, or
// becomes the instance and runs until the user quits.
namespace Application {

// `--panel`, `--reply`, a morvik: callback URL; anything else brings the home window forward.
InstanceMessage requestOf(const QStringList& arguments);

// Whether a desktop application could show itself; without a display the command line's usage applies.
bool hasDisplay();

int run(int& argc, char** argv, const QStringList& arguments);

} // namespace Application
