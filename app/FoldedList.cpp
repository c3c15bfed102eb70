#include "app/FoldedList.h"

#include "app/ElidedLabel.h"
#include "app/ModelView.h"
#include "app/Theme.h"
#include "app/model/Mailbox.h"
#include "app/model/RealServices.h"
#include "base/Text.h"

#include <limits>
#include <tuple>
#include <utility>

#include <QtGui/qclipboard.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qtoolbutton.h>

namespace vantorel {

namespace {

constexpr qsizetype mostEntries = 10;

} // namespace

FoldedList::FoldedList(const QString& title, qsizetype count, Lines lines, QWidget* parent)
    : QWidget(parent)
    , count_(count)
    , lines_(std::move(lines))
    , head_(new QToolButton)
    , mailbox_(std::make_shared<Mailbox>(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    head_->setObjectName("fold");
    head_->setText(title + " (" + shown(grouped(count)) + ")");
    head_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    head_->setArrowType(Qt::RightArrow);
    head_->setAutoRaise(true);
    head_->setCheckable(true);
    head_->setFont(theme::font(theme::TextStyle::heading, head_->font()));
    connect(head_, &QToolButton::toggled, this, [this](bool isOpen) {
        head_->setArrowType(isOpen ? Qt::DownArrow : Qt::RightArrow);
        if (isOpen && !content_) {
            fill();
        }
        content_->setVisible(isOpen);
    });
    layout->addWidget(head_, 0, Qt::AlignLeft);
}

FoldedList::~FoldedList() { mailbox_->close(); }

void FoldedList::copy()
{
    auto task = [lines = lines_, box = std::weak_ptr(mailbox_)] {
        const auto text = lines(std::numeric_limits<qsizetype>::max()).join('\n');
        if (const auto mailbox = box.lock()) {
            mailbox->post([text] { QGuiApplication::clipboard()->setText(text); });
        }
    };
    std::ignore = startOnThread(std::move(task)); // without a thread nothing is copied
}

void FoldedList::setOpen(bool isOpen) { head_->setChecked(isOpen); }

void FoldedList::fill()
{
    content_ = new QWidget;
    auto* layout = new QVBoxLayout(content_);
    layout->setContentsMargins(24, 0, 0, 8);
    layout->setSpacing(4);
    for (const auto& line : lines_(mostEntries)) {
        layout->addWidget(new ElidedLabel(line));
    }
    auto* foot = new QHBoxLayout;
    if (count_ > mostEntries) {
        auto* rest =
            theme::text("And " + shown(grouped(count_ - mostEntries)) + " more.", theme::TextStyle::quiet);
        rest->setWordWrap(false);
        foot->addWidget(rest);
    }
    auto* copy = new QPushButton("Copy List");
    connect(copy, &QPushButton::clicked, this, [this] { this->copy(); });
    foot->addWidget(copy);
    foot->addStretch();
    layout->addLayout(foot);
    this->layout()->addWidget(content_);
}

} // namespace vantorel
