#pragma once

#include <QByteArray>

// The name of the sound server's default input. Qt lists the server's inputs but does not mark its
// default as such, so the name is asked from the server itself; empty when it cannot be reached.
namespace PulseDefaultSource {
QByteArray name();
}
