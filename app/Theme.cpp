#include "app/Theme.h"

#include <array>
#include <memory>
#include <utility>

#include <QtCore/qcoreevent.h>
#include <QtGui/qpainter.h>
#include <QtGui/qpixmapcache.h>
#include <QtSvg/qsvgrenderer.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qstyle.h>
#include <QtWidgets/qstylefactory.h>

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
        auto own = palette();
        own.setColor(QPalette::WindowText, quietColour(QApplication::palette()));
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

QFont font(TextStyle style, const QFont& base)
{
    auto font = base;
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
        break;
    }
    return font;
}

QColor quietColour(const QPalette& palette)
{
    return mixed(palette.color(QPalette::WindowText), palette.color(QPalette::Window), 0.72);
}

QLabel* text(const QString& content, TextStyle style, QWidget* parent)
{
    auto* label = style == TextStyle::quiet ? new QuietLabel(parent) : new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setText(content);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setFont(font(style, label->font()));
    if (style == TextStyle::quiet) {
        static_cast<QuietLabel*>(label)->setQuiet();
    }
    return label;
}

QWidget* bigNumber(const QString& number, const QString& what)
{
    auto* widget = new QWidget;
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto* value = text(number, TextStyle::number);
    value->setWordWrap(false);
    layout->addWidget(value);
    layout->addWidget(text(what, TextStyle::quiet));
    return widget;
}

QLabel* roomFor(int lines, QLabel* label)
{
    label->setMinimumHeight(label->fontMetrics().lineSpacing() * lines + 2);
    label->setAlignment(Qt::AlignTop | Qt::AlignLeft);
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
        "QPushButton#primary:focus { border: 2px solid palette(window-text); padding: 5px 17px; }");
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

namespace {

/// Flat, with the measures of the rest; every colour comes from the palette. Style sheets of Qt 6.4 know no
/// role for placeholders and tooltips: such a colour would be black.
constexpr const char* styleSheet = R"(
QPushButton { background: palette(button); color: palette(button-text); border: 1px solid palette(mid);
  border-radius: 6px; padding: 5px 14px; outline: none; }
QPushButton:hover { background: palette(midlight); }
QPushButton:pressed { background: palette(mid); }
QPushButton:disabled { color: palette(mid); border-color: palette(midlight); }
QPushButton:focus { border: 2px solid palette(highlight); padding: 4px 13px; }
QPushButton:flat { background: transparent; border-color: transparent; padding: 3px 6px; }
QPushButton:flat:hover { background: palette(midlight); }
QPushButton:flat:focus { border: 2px solid palette(highlight); padding: 2px 5px; }
QPushButton#legend { padding: 3px 8px 3px 1px; }
QPushButton#legend:focus { padding: 2px 7px 2px 0; }
QToolButton { border: 1px solid transparent; border-radius: 6px; padding: 3px 6px; outline: none; }
QToolButton::menu-indicator { image: none; }
QToolButton:hover { background: palette(midlight); }
QToolButton:checked { background: palette(midlight); border-color: palette(mid); }
QToolButton:focus { border: 2px solid palette(highlight); padding: 2px 5px; }
QToolButton#fold { padding-left: 1px; background: transparent; border-color: transparent; }
QToolButton#fold:hover { background: palette(midlight); }
QToolButton#fold:focus { padding-left: 0; border-color: palette(highlight); }
QCheckBox::indicator { width: 14px; height: 14px; border: 1px solid palette(window-text); border-radius: 4px;
  background: palette(base); }
QCheckBox::indicator:checked { background: palette(highlight); border-color: palette(highlight);
  image: url(:/icons/checkmark.svg); }
QCheckBox::indicator:focus { width: 12px; height: 12px; border: 2px solid palette(highlight); }
QCheckBox::indicator:checked:focus { border-color: palette(window-text); }
QTabWidget::pane { border: none; border-top: 1px solid palette(mid); top: -1px; }
QTabWidget::tab-bar { left: 0; }
QTabBar { font-weight: 500; outline: none; }
QTabBar::tab { background: transparent; border: none; border-bottom: 2px solid transparent;
  padding: 7px 4px; margin-right: 20px; }
QTabBar::tab:selected { border-bottom-color: palette(highlight); }
QTabBar::tab:hover { border-bottom-color: palette(mid); }
QTabBar::tab:selected:hover { border-bottom-color: palette(highlight); }
QTabBar::tab:selected:focus { background: palette(midlight); border-top-left-radius: 6px;
  border-top-right-radius: 6px; }
QLineEdit { background: palette(base); border: 1px solid palette(mid); border-radius: 6px; padding: 4px 8px; }
QLineEdit:focus { border-color: palette(highlight); }
QHeaderView::section { background: palette(window); border: none; border-bottom: 1px solid palette(midlight);
  padding: 5px 3px; }
QToolTip { background: palette(base); color: palette(text); border: 1px solid palette(mid);
  padding: 4px; }
QScrollBar:vertical { background: transparent; width: 12px; margin: 0; }
QScrollBar:horizontal { background: transparent; height: 12px; margin: 0; }
QScrollBar::handle { background: palette(mid); border-radius: 4px; margin: 2px; min-height: 32px;
  min-width: 32px; }
QScrollBar::handle:hover { background: palette(dark); }
QScrollBar[leads="true"]::handle { background: palette(highlight); }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
)";

/// Whether the desktop has told colours: else the style's own are there.
bool desktopToldColours()
{
    const std::unique_ptr<QStyle> style(QStyleFactory::create(QApplication::style()->objectName()));
    return style && QApplication::palette() != style->standardPalette();
}

} // namespace

void apply(QApplication& application)
{
#ifdef Q_OS_MACOS
    Q_UNUSED(application); // the system's own look, which follows its appearance
#else
    const auto wanted = qEnvironmentVariable("VANTOREL_APPEARANCE");
    const bool isTold = wanted.isEmpty() && desktopToldColours();
    QApplication::setStyle("fusion");
    if (!isTold) {
        QApplication::setPalette(palette(wanted == "dark"));
    }
    application.setStyleSheet(styleSheet);
#endif
}

} // namespace vantorel::theme
