#pragma once

#include <QString>

namespace httplib {
class Server;
}

// The pages' style sheet, script and icon, compiled into the binary and served under /web/.
namespace WebAssets {

void install(httplib::Server& server);

// The product's mark as an inline SVG element, drawn in the text colour around it.
QString mark();

} // namespace WebAssets
