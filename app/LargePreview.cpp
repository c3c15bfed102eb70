#include "app/LargePreview.h"

#include "app/ItemTable.h"
#include "app/ModelView.h"
#include "app/PreviewPane.h"
#include "app/Theme.h"

#include <algorithm>
#include <array>

#include <QtGui/qevent.h>
#include <QtGui/qpainter.h>
#include <QtWidgets/qabstractitemview.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qtoolbutton.h>

namespace vantorel {

LargePreview::LargePreview(AppModel& app, PictureService& pictures, ItemTableModel& items, QWidget& window)
    : QWidget(&window)
    , app_(app)
    , items_(items)
{
    hide();
    setFocusPolicy(Qt::StrongFocus);
    // Pictures are looked at in the dark, whatever the windows' colours are.
    setPalette(theme::palette(true));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(theme::margin, 12, theme::margin, 16);
    layout->setSpacing(8);
    auto* head = new QHBoxLayout;
    name_ = theme::text("", theme::TextStyle::heading);
    name_->setPalette(palette());
    name_->setWordWrap(false);
    head->addWidget(name_, 1);
    const auto addButton = [&](const char* symbol, const QString& title, auto action) {
        auto* button = new QToolButton;
        button->setIcon(theme::symbolIcon(symbol, palette()));
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setToolTip(title);
        button->setAccessibleName(title);
        connect(button, &QToolButton::clicked, this, action);
        head->addWidget(button);
    };
    const auto step = [this](int rows) {
        if (view_) {
            goTo(view_->currentIndex().row() + rows);
        }
    };
    addButton("chevron.left", "Previous", [step] { step(-1); });
    addButton("chevron.right", "Next", [step] { step(1); });
    addButton("xmark", "Close Preview", [this] { closeIt(); });
    layout->addLayout(head);
    picture_ = new PreviewPicture(pictures);
    picture_->setPalette(palette());
    layout->addWidget(picture_, 1);
    line_ = theme::text("", theme::TextStyle::body);
    line_->setPalette(palette());
    line_->setAlignment(Qt::AlignHCenter);
    layout->addWidget(line_);
    window.installEventFilter(this);
    connect(&items_, &QAbstractItemModel::modelReset, this, [this] { closeIt(); });
}

void LargePreview::open(QAbstractItemView& view)
{
    if (!view.currentIndex().isValid()) {
        return;
    }
    view_ = &view;
    setGeometry(parentWidget()->rect());
    show();
    raise();
    setFocus();
    showCurrent();
}

void LargePreview::showCurrent()
{
    const int row = view_ ? view_->currentIndex().row() : -1;
    if (row < 0 || row >= items_.rowCount()) {
        closeIt();
        return;
    }
    const auto& asset = items_.assetAt(row);
    std::vector<std::size_t> next;
    for (const int other : {row + 1, row - 1}) {
        if (other >= 0 && other < items_.rowCount()) {
            next.push_back(items_.positionAt(other));
        }
    }
    picture_->show(items_.library(), items_.positionAt(row), next);
    name_->setText(displayed(shownName(asset)));
    const auto date = itemDateText(asset);
    const auto status = shown(statusText(items_.entryAt(row)));
    QStringList lines;
    if (asset.caption && !asset.caption->empty()) {
        lines << displayedText(asset.caption->substr(0, 500));
    }
    lines << (date.isEmpty() ? status : date + " · " + status);
    line_->setText(lines.join('\n'));
    setAccessibleName(name_->text() + ", " + lines.join(", "));
    app_.announce(accessibleName().toStdString());
}

void LargePreview::goTo(int row)
{
    if (view_ && items_.rowCount() > 0) {
        const int inside = std::clamp(row, 0, items_.rowCount() - 1);
        view_->setCurrentIndex(items_.index(inside, ItemTableModel::picture));
        showCurrent();
    }
}

void LargePreview::closeIt()
{
    if (isVisible()) {
        picture_->clear();
        hide();
        if (view_) {
            view_->setFocus();
        }
    }
}

bool LargePreview::event(QEvent* event)
{
    // No key reaches what lies beneath.
    if (event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

bool LargePreview::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize && isVisible()) {
        setGeometry(parentWidget()->rect());
    }
    return QWidget::eventFilter(watched, event);
}

void LargePreview::keyPressEvent(QKeyEvent* event)
{
    const int row = view_ ? view_->currentIndex().row() : 0;
    switch (event->key()) {
    case Qt::Key_Escape:
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        closeIt();
        break;
    case Qt::Key_Left:
    case Qt::Key_Up:
    case Qt::Key_PageUp:
        goTo(row - 1);
        break;
    case Qt::Key_Right:
    case Qt::Key_Down:
    case Qt::Key_PageDown:
        goTo(row + 1);
        break;
    case Qt::Key_Home:
        goTo(0);
        break;
    case Qt::Key_End:
        goTo(items_.rowCount() - 1);
        break;
    default:
        break; // taken all the same
    }
}

void LargePreview::mousePressEvent(QMouseEvent*) { closeIt(); }

void LargePreview::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(18, 19, 21, 245));
}

bool LargePreview::focusNextPrevChild(bool) { return true; }

} // namespace vantorel
