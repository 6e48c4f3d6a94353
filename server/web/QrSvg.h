#pragma once

#include <QString>

// A QR code (level M) as an inline SVG element, black on white in light and dark pages alike (cameras
// read that best), with a quiet zone of four modules; empty when the text does not fit in a QR code.
namespace QrSvg {

QString encode(const QString& text, const QString& label);

}
