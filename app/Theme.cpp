#include "app/Theme.h"

#include <array>
#include <utility>

#include <QtCore/qcoreevent.h>
#include <QtGui/qpainter.h>
#include <QtGui/qpixmapcache.h>
#include <QtSvg/qsvgrenderer.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel::theme {

namespace {

QColor mixed(const QColor& a, const QColor& b, double partOfA)
{
    const auto part = [&](int x, int y) { return static_cast<int>(x * partOfA + y * (1 - partOfA)); };
    return {part(a.red(), b.red()), part(a.green(), b.green()), part(a.blue(), b.blue())};
}

/// A label in the quiet colour, which follows the palette of the program.
class QuietLabel final : public QLabel {
public:
    using QLabel::QLabel;

    void setQuiet()
    {
        const auto base = QApplication::palette();
        auto own = palette();
        own.setColor(QPalette::WindowText,
            mixed(base.color(QPalette::WindowText), base.color(QPalette::Window), 0.72));
        isSetting_ = true;
        setPalette(own);
        isSetting_ = false;
    }

protected:
    void changeEvent(QEvent* event) override
    {
        if (event->type() == QEvent::PaletteChange && !isSetting_) {
            setQuiet();
        }
        QLabel::changeEvent(event);
    }

private:
    bool isSetting_ = false;
};

} // namespace

bool isDark(const QPalette& palette) { return palette.color(QPalette::Window).lightness() < 128; }

QColor colour(Meaning meaning, const QPalette& palette)
{
    struct Pair {
        const char* light;
        const char* dark;
    };
    static constexpr std::array<Pair, 5> colours{{
        {"#2e7d46", "#6cc08b"}, // good
        {"#a86200", "#f0b35a"}, // attention
        {"#b3362c", "#f08a80"}, // lost
        {"#2d6aa8", "#7fb4ea"}, // elsewhere
        {"#6b7075", "#9aa0a6"}, // unknown
    }};
    const auto& pair = colours[static_cast<std::size_t>(meaning)];
    return QColor(QLatin1String(isDark(palette) ? pair.dark : pair.light));
}

QPixmap symbol(const QString& name, int size, const QColor& colour, qreal pixelRatio)
{
    const QString key =
        name + '/' + QString::number(size) + '/' + colour.name() + '/' + QString::number(pixelRatio);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap)) {
        return pixmap;
    }
    QImage image(QSize(size, size) * pixelRatio, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(":/icons/" + name + ".svg");
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    // Dark strokes are the symbol; light ones are cut out of it.
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int alpha = qAlpha(line[x]) - qRed(line[x]);
            line[x] = qPremultiply(qRgba(colour.red(), colour.green(), colour.blue(), std::max(alpha, 0)));
        }
    }
    pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(pixelRatio);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

QIcon symbolIcon(const QString& name, const QPalette& palette)
{
    QIcon icon;
    for (const qreal ratio : {1.0, 2.0}) {
        icon.addPixmap(symbol(name, 20, palette.color(QPalette::WindowText), ratio));
    }
    return icon;
}

QLabel* text(const QString& content, TextStyle style, QWidget* parent)
{
    auto* label = style == TextStyle::quiet ? new QuietLabel(parent) : new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setText(content);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto font = label->font();
    const auto scaled = [&](double factor, QFont::Weight weight) {
        font.setPointSizeF(font.pointSizeF() * factor);
        font.setWeight(weight);
    };
    switch (style) {
    case TextStyle::title:
        scaled(1.7, QFont::DemiBold);
        break;
    case TextStyle::heading:
        scaled(1.15, QFont::DemiBold);
        break;
    case TextStyle::number:
        scaled(1.9, QFont::DemiBold);
        break;
    case TextStyle::body:
        break;
    case TextStyle::quiet:
        scaled(0.92, QFont::Normal);
        static_cast<QuietLabel*>(label)->setQuiet();
        break;
    }
    label->setFont(font);
    return label;
}

void makePrimary(QPushButton* button)
{
    button->setDefault(true);
    button->setObjectName("primary");
    button->setStyleSheet(
        "QPushButton#primary { background: palette(highlight); color: palette(highlighted-text);"
        " border: 1px solid transparent; border-radius: 6px; padding: 6px 18px; }"
        "QPushButton#primary:disabled { background: palette(mid); color: palette(window); }"
        "QPushButton#primary:focus { border: 1px solid palette(window-text); }");
}

QPalette palette(bool dark)
{
    QPalette colours;
    const auto set = [&](QPalette::ColorRole role, const char* value) {
        colours.setColor(role, QColor(QLatin1String(value)));
    };
    set(QPalette::Window, dark ? "#1f2124" : "#f6f6f4");
    set(QPalette::WindowText, dark ? "#ecedee" : "#1c1d1f");
    set(QPalette::Base, dark ? "#26292d" : "#ffffff");
    set(QPalette::AlternateBase, dark ? "#2b2f33" : "#f2f3f1");
    set(QPalette::Text, dark ? "#ecedee" : "#1c1d1f");
    set(QPalette::Button, dark ? "#34383d" : "#ececea");
    set(QPalette::ButtonText, dark ? "#ecedee" : "#1c1d1f");
    set(QPalette::Highlight, dark ? "#3a7fa6" : "#23658a");
    set(QPalette::HighlightedText, "#ffffff");
    set(QPalette::PlaceholderText, dark ? "#a3a8ad" : "#63676b");
    set(QPalette::ToolTipBase, dark ? "#34383d" : "#ffffff");
    set(QPalette::ToolTipText, dark ? "#ecedee" : "#1c1d1f");
    set(QPalette::Mid, dark ? "#50555b" : "#c3c5c3");
    set(QPalette::Light, dark ? "#3c4147" : "#ffffff");
    set(QPalette::Midlight, dark ? "#33373c" : "#e4e5e3");
    set(QPalette::Dark, dark ? "#121315" : "#9a9c9a");
    set(QPalette::Shadow, "#000000");
    set(QPalette::Link, dark ? "#7fb4ea" : "#2d6aa8");
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        colours.setColor(QPalette::Disabled, role, QColor(QLatin1String(dark ? "#7b8086" : "#8d9194")));
    }
    return colours;
}

} // namespace vantorel::theme
