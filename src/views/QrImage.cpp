#include "views/QrImage.h"

#include <memory>
#include <qrencode.h>

namespace QrImage {

std::optional<QImage> encode(const QString& text, int modulePixels)
{
    const QByteArray bytes = text.toUtf8();
    // Eight-bit mode takes any bytes, so the text arrives exactly as it was written.
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(int(bytes.size()), reinterpret_cast<const unsigned char*>(bytes.constData()), 0,
                          QR_ECLEVEL_M),
        &QRcode_free);
    if (!code || modulePixels < 1)
        return std::nullopt;
    const int modules = code->width + 2 * quietZoneModules;
    QImage image(modules, modules, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            // The lowest bit of each module says dark.
            if (code->data[y * code->width + x] & 1)
                image.setPixel(x + quietZoneModules, y + quietZoneModules, qRgb(0, 0, 0));
        }
    }
    // Nearest-neighbour scaling by a whole factor keeps every module a sharp square.
    return image.scaled(modules * modulePixels, modules * modulePixels, Qt::IgnoreAspectRatio,
                        Qt::FastTransformation);
}

int modulePixelsToFit(int modules, int sidePixels)
{
    return modules > 0 ? std::max(1, sidePixels / modules) : 1;
}

} // namespace QrImage
