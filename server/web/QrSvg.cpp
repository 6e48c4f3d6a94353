#include "QrSvg.h"

#include <memory>
#include <qrencode.h>

namespace QrSvg {

QString encode(const QString& text, const QString& label)
{
    const QByteArray utf8 = text.toUtf8();
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(utf8.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code)
        return {};
    constexpr int quiet = 4;
    const int width = code->width;
    QString path;
    for (int y = 0; y < width; ++y) {
        for (int x = 0; x < width; ++x) {
            // The lowest bit of each module says whether it is dark.
            if (code->data[y * width + x] & 1)
                path += QStringLiteral("M%1 %2h1v1h-1z").arg(x + quiet).arg(y + quiet);
        }
    }
    const int size = width + 2 * quiet;
    return QStringLiteral("<svg class=\"qr\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %1 %1\" "
                          "shape-rendering=\"crispEdges\" role=\"img\" aria-label=\"%2\">"
                          "<rect width=\"%1\" height=\"%1\" fill=\"#fff\"/>"
                          "<path fill=\"#000\" d=\"%3\"/></svg>")
        .arg(size)
        .arg(label.toHtmlEscaped(), path);
}

} // namespace QrSvg
