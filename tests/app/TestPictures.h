#pragma once

#include <string>

#include <QtCore/qbuffer.h>
#include <QtGui/qimage.h>

namespace vantorel {

/// A small picture as a file's content.
inline std::string pictureBytes(int width, int height, const char* format)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            image.setPixel(x, y, qRgb(x * 255 / width, y * 255 / height, 120));
        }
    }
    QBuffer buffer;
    image.save(&buffer, format);
    return buffer.data().toStdString();
}

} // namespace vantorel
