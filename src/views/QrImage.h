#pragma once

#include <QImage>
#include <QString>
#include <optional>

// QR codes for links: error correction level M, any UTF-8 text, black modules on white with the
// standard quiet zone of four modules, each module a square of whole pixels.
namespace QrImage {

constexpr int quietZoneModules = 4;

// Nothing when the text is too long for any QR code.
std::optional<QImage> encode(const QString& text, int modulePixels = 10);

// The largest whole number of pixels per module at which the code fits in `sidePixels`; at least 1.
int modulePixelsToFit(int modules, int sidePixels);

} // namespace QrImage
