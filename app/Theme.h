#pragma once

#include <QtGui/qcolor.h>
#include <QtGui/qfont.h>
#include <QtGui/qicon.h>
#include <QtGui/qpalette.h>

class QApplication;
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

QFont font(TextStyle style, const QFont& base);
/// Of text that explains; at least 4.5 : 1 against the window.
QColor quietColour(const QPalette& palette);
/// A text that wraps and can be selected and copied. Never rich text: names come from libraries.
QLabel* text(const QString& content, TextStyle style, QWidget* parent = nullptr);
/// A number in large with what it counts beneath.
QWidget* bigNumber(const QString& number, const QString& what);
/// Room for so many lines whether there is a text or not: nothing jumps when one appears. Gives the label
/// back.
QLabel* roomFor(int lines, QLabel* label);
/// The one main thing of a screen.
void makePrimary(QPushButton* button);
QPalette palette(bool dark);
/// Style and colours of the program. Where a desktop has colours of its own, these; else ours, light or dark.
/// VANTOREL_APPEARANCE=light or =dark in the environment decides for everybody.
void apply(QApplication& application);

} // namespace vantorel::theme
