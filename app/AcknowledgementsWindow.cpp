#include "app/AcknowledgementsWindow.h"

#include <algorithm>

#include <QtCore/qfile.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qplaintextedit.h>

namespace vantorel {

namespace {

QString textIn(const QString& name)
{
    QFile file(name);
    const auto text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return text.isEmpty() ? QString("The acknowledgements file is missing from this copy of Vantorel.")
                          : QString::fromUtf8(text);
}

} // namespace

AcknowledgementsWindow::AcknowledgementsWindow(QWidget* parent, const QString& file)
    : QDialog(parent)
{
    setObjectName("acknowledgements");
    setWindowTitle("Acknowledgements");
    auto* layout = new QVBoxLayout(this);
    auto* text = new QPlainTextEdit(textIn(file));
    text->setReadOnly(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setFrameShape(QFrame::NoFrame);
    text->setAccessibleName("Acknowledgements");
    layout->addWidget(text);
    // The text has its line breaks; as wide as its longest line, with the margins and the scroll bar.
    const int longest = fontMetrics().boundingRect(QRect(), 0, text->toPlainText()).width();
    resize(std::min(longest + 80, fontMetrics().averageCharWidth() * 140), fontMetrics().height() * 28);
}

} // namespace vantorel
