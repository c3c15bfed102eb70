#pragma once

#include <QtGui/qcolor.h>
#include <QtGui/qicon.h>
#include <QtGui/qpalette.h>

class QLabel;
class QPushButton;
class QWidget;

/// How the windows look: sizes come from the font, colours from here and the palette.
namespace vantorel::theme {

enum class Meaning { good, attention, lost, elsewhere, unknown };
enum class TextStyle { title, heading, number, body, quiet };

inline constexpr int margin = 24;
inline constexpr int textWidth = 640; ///< Paragraphs are not wider.

bool isDark(const QPalette& palette);
QColor colour(Meaning meaning, const QPalette& palette);
/// A drawn symbol in one colour; what is white in the drawing stays clear.
QPixmap symbol(const QString& name, int size, const QColor& colour, qreal pixelRatio);
QIcon symbolIcon(const QString& name, const QPalette& palette);

/// A text that wraps and can be selected and copied. Never rich text: names come from libraries.
QLabel* text(const QString& content, TextStyle style, QWidget* parent = nullptr);
/// The one main thing of a screen.
void makePrimary(QPushButton* button);
/// For screenshots and for desktops that tell no colours.
QPalette palette(bool dark);

} // namespace vantorel::theme
