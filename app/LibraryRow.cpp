#include "app/LibraryRow.h"

#include "app/AccessibleRole.h"
#include "app/ElidedLabel.h"
#include "app/Layouts.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <algorithm>

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

using theme::TextStyle;

namespace {

QString formatOf(const FoundLibrary& library)
{
    switch (library.format) {
    case LibraryFormat::modern:
        return library.databaseBytes ? "Database " + shown(byteSize(*library.databaseBytes))
                                     : QString("Modern");
    case LibraryFormat::legacy:
        return "Older format";
    case LibraryFormat::noDatabase:
        return library.hasJournals ? "Change journals" : "Photo files";
    }
    std::unreachable();
}

QString placeOf(const FoundLibrary& library)
{
    QString place;
    if (library.volume) {
        const auto& volume = *library.volume;
        place = displayed(volume.name.empty() ? volume.mountPoint : volume.name) + " ("
            + shown(description(volume)) + ") — ";
    }
    return place + displayed(library.url.parent_path().native());
}

} // namespace

LibraryRow::LibraryRow(
    const FoundLibrary& library, std::function<void()> open, const QString& action, QWidget* parent)
    : QWidget(parent)
    , library_(library)
    , open_(std::move(open))
{
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleRole(*this, QAccessible::ListItem, [this] { open_(); });
    setAccessibleName(displayed(library.name));
    const auto note = texts::libraryNote(library);
    setAccessibleDescription(withLine(placeOf(library) + ", " + formatOf(library), note));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 8, 12, 8);
    layout->setSpacing(12);
    auto* symbol = new QLabel;
    symbol->setPixmap(
        theme::symbol("photo.on.rectangle", 28, palette().color(QPalette::WindowText), devicePixelRatioF()));
    layout->addWidget(symbol, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(new ElidedLabel(displayed(library.name), ElidedLabel::Kind::name));
    texts->addWidget(new ElidedLabel(placeOf(library), ElidedLabel::Kind::quiet));
    if (note) {
        texts->addWidget(theme::text(withLine(displayed(*note), library.accessAdvice), TextStyle::quiet));
    }
    layout->addLayout(texts, 1);
    auto* format = theme::text(formatOf(library), TextStyle::quiet);
    format->setWordWrap(false);
    layout->addWidget(format);
    auto* button = new QPushButton(action);
    button->setAccessibleName(action + " " + displayed(library.name));
    connect(button, &QPushButton::clicked, this, [this] { open_(); });
    layout->addWidget(button);
    button_ = button;
}

void LibraryRow::mouseDoubleClickEvent(QMouseEvent*) { open_(); }

void LibraryRow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        open_();
    } else if (event->key() == Qt::Key_Down || event->key() == Qt::Key_Up) {
        focusNeighbour(event->key() == Qt::Key_Down ? 1 : -1);
    } else {
        QWidget::keyPressEvent(event);
    }
}

void LibraryRow::focusNeighbour(int step)
{
    std::vector<LibraryRow*> rows;
    for (auto* widget : parentWidget()->children()) {
        if (auto* row = qobject_cast<LibraryRow*>(widget); row && !row->isHidden()) {
            rows.push_back(row);
        }
    }
    std::ranges::sort(rows, {}, &QWidget::y); // a row that has stayed is older than those that came above it
    const auto next = std::ranges::find(rows, this) - rows.begin() + step;
    if (next >= 0 && next < std::ssize(rows)) {
        rows[static_cast<std::size_t>(next)]->setFocus(Qt::TabFocusReason);
    }
}

void LibraryRow::focusInEvent(QFocusEvent*) { update(); }
void LibraryRow::focusOutEvent(QFocusEvent*) { update(); }

void LibraryRow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(palette().color(QPalette::Base));
    const double line = hasFocus() ? 2 : 1;
    painter.setPen(QPen(palette().color(hasFocus() ? QPalette::Highlight : QPalette::Midlight), line));
    painter.drawRoundedRect(QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2), 8, 8);
}

LibraryRows::LibraryRows(QBoxLayout& layout, QString action, Open open)
    : layout_(layout)
    , action_(std::move(action))
    , open_(std::move(open))
{
    for (int i = layout.count(); i-- > 0;) {
        if (auto* row = qobject_cast<LibraryRow*>(layout.itemAt(i)->widget())) {
            delete layout.takeAt(i);
            before_.push_back(row);
        }
    }
    clearLayout(layout);
}

LibraryRows::~LibraryRows()
{
    for (auto* row : before_) {
        row->hide();
        row->deleteLater();
    }
}

LibraryRow* LibraryRows::add(const FoundLibrary& library)
{
    const auto kept = std::ranges::find(before_, library, &LibraryRow::library);
    LibraryRow* row = nullptr;
    if (kept != before_.end()) {
        row = *kept;
        before_.erase(kept);
    } else {
        row = new LibraryRow(library, [open = open_, library] { open(library); }, action_);
    }
    layout_.addWidget(row);
    row->show(); // what is not shown yet takes no focus
    if (last_) {
        QWidget::setTabOrder(last_->button(), row);
    }
    QWidget::setTabOrder(row, row->button());
    last_ = row;
    return row;
}

} // namespace vantorel
