#include "app/CompareTab.h"

#include "app/ColumnArea.h"
#include "app/Layouts.h"
#include "app/LibraryRow.h"
#include "app/Privacy.h"
#include "app/Theme.h"
#include "app/ThinBar.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <unordered_map>

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qpushbutton.h>

namespace vantorel {

using theme::TextStyle;

namespace {

QString count(std::int64_t number) { return shown(grouped(number)); }

/// A line for each of the first so many entries.
template <typename Entries, typename TextOf>
FoldedList::Lines linesOf(
    std::shared_ptr<const LibraryComparison> owner, const Entries& entries, TextOf textOf)
{
    return [owner = std::move(owner), &entries, textOf = std::move(textOf)](qsizetype atMost) {
        QStringList lines;
        for (const auto& entry : entries) {
            if (lines.size() == atMost) {
                break;
            }
            lines << textOf(entry);
        }
        return lines;
    };
}

QString textOf(const ChangedAsset& asset)
{
    QStringList labels;
    for (const auto change : asset.changes) {
        labels << shown(changeLabel(change));
    }
    return displayed(asset.name) + ": " + labels.join(", ");
}

QString textOf(const ChangedAlbum& album)
{
    QStringList labels;
    for (const auto& label : changeLabels(album)) {
        labels << displayed(label);
    }
    return displayed(album.name) + ": " + labels.join(", ");
}

} // namespace

CompareTab::CompareTab(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 16, 12, 0);
    layout->setSpacing(12);
    outer->addWidget(new ColumnArea(content, "Compare"));

    auto* head = new QHBoxLayout;
    head->addWidget(theme::text("See what this library has that another one, usually today's, does not.",
                        TextStyle::body),
        1);
    again_ = new QPushButton("Compare With Another…");
    connect(again_, &QPushButton::clicked, this, [this] {
        choosesAgain_ = true;
        refresh();
    });
    head->addWidget(again_, 0, Qt::AlignTop);
    layout->addLayout(head);
    error_ = new WarningLine("");
    layout->addWidget(error_);

    choice_ = new QWidget;
    auto* choice = new QVBoxLayout(choice_);
    choice->setContentsMargins(0, 0, 0, 0);
    choice->setSpacing(12);
    access_ = new WarningLine("To compare with the library on this Mac, turn on Full Disk Access.");
    access_->addButton("Open System Settings", openPrivacySettings);
    choice->addWidget(access_);
    none_ = theme::text("No other library found", TextStyle::heading);
    choice->addWidget(none_);
    others_ = new QVBoxLayout;
    others_->setSpacing(4);
    choice->addLayout(others_);
    auto* choose = new QPushButton("Choose Another Library…");
    connect(choose, &QPushButton::clicked, this, [this] { app_.chooseLibraryToCompare(); });
    choice->addWidget(choose, 0, Qt::AlignLeft);
    layout->addWidget(choice_);

    progress_ = running();
    auto* narrow = new QHBoxLayout; // a box from top to bottom would reckon the height of its whole width
    narrow->addWidget(progress_, 10);
    narrow->addStretch();
    layout->addLayout(narrow);
    result_ = new QVBoxLayout;
    result_->setSpacing(8);
    layout->addLayout(result_);
    layout->addStretch();
    watch(app_.found, app_.scannedLibrary, app_.hasFullDiskAccess, app_.isComparing, app_.compareProgress,
        app_.compareWait, app_.compareError, app_.compareAdvice, app_.comparison, app_.comparedWith);
}

QWidget* CompareTab::running()
{
    auto* widget = new QWidget;
    widget->setMaximumWidth(theme::textWidth);
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    stage_ = theme::text("", TextStyle::heading);
    bar_ = new ThinBar("Comparison progress");
    counts_ = theme::text("", TextStyle::body);
    notice_ = theme::roomFor(3, theme::text("", TextStyle::quiet));
    auto* stop = new QPushButton("Stop");
    connect(stop, &QPushButton::clicked, this, [this] { app_.stopComparing(); });
    layout->addWidget(stage_);
    layout->addWidget(bar_);
    layout->addWidget(counts_);
    layout->addWidget(notice_);
    layout->addWidget(stop, 0, Qt::AlignRight);
    return widget;
}

void CompareTab::refresh()
{
    if (app_.isComparing()) {
        choosesAgain_ = false;
    }
    const bool hasResult = app_.comparison() != nullptr;
    access_->setVisible(!app_.hasFullDiskAccess());
    error_->setTextOrHide(app_.compareError(), app_.compareAdvice());
    choice_->setVisible(!app_.isComparing() && (!hasResult || choosesAgain_));
    again_->setVisible(hasResult && !choosesAgain_);
    progress_->setVisible(app_.isComparing());
    if (app_.isComparing()) {
        const auto& progress = app_.compareProgress();
        stage_->setText("Scanning " + displayed(app_.comparedWith() ? app_.comparedWith()->name : ""));
        bar_->showPart(progress.done, progress.total);
        counts_->setText(shown(texts::stage(progress.stage)) + "\n" + shown(texts::scanCounts(progress)));
        notice_->setText(shown(texts::scanWait(app_.compareWait())));
    }
    if (found_ != app_.found() || scannedLibrary_ != app_.scannedLibrary()) {
        found_ = app_.found();
        scannedLibrary_ = app_.scannedLibrary();
        showOthers();
    }
    if (comparison_ != app_.comparison()) {
        comparison_ = app_.comparison();
        showComparison();
    }
}

void CompareTab::showOthers()
{
    LibraryRows rows(*others_, "Compare", [this](const FoundLibrary& library) { app_.compare(library); });
    for (const auto& library : found_->libraries) {
        if (!scannedLibrary_ || library.url != scannedLibrary_->url) {
            rows.add(library);
        }
    }
    none_->setVisible(!rows.last());
}

void CompareTab::showComparison()
{
    clearLayout(*result_);
    if (!comparison_ || !app_.scanned()) {
        return;
    }
    for (const auto& caution : comparison_->cautions) {
        result_->addWidget(new WarningLine(displayed(caution)));
    }
    result_->addWidget(
        theme::text("Compared with " + displayed(app_.comparedWith() ? app_.comparedWith()->name : ""),
            TextStyle::heading));
    auto* numbers = new QHBoxLayout;
    numbers->setSpacing(24);
    numbers->addWidget(
        theme::bigNumber(count(std::ssize(comparison_->missingAssetPKs)), "items not there"), 1);
    numbers->addWidget(
        theme::bigNumber(count(std::ssize(comparison_->changedAssets)), "items different there"), 1);
    numbers->addWidget(theme::bigNumber(count(comparison_->sameAssetCount), "items the same"), 1);
    numbers->addStretch(2);
    result_->addLayout(numbers);
    for (const auto& sentence : countSentences(*comparison_)) {
        result_->addWidget(theme::text(shown(sentence), TextStyle::quiet));
    }
    addLists();
    result_->addSpacing(8);
    result_->addWidget(theme::text("The same in both", TextStyle::heading));
    result_->addWidget(theme::text(count(comparison_->sameAssetCount) + " items, "
            + count(comparison_->sameAlbumCount) + " albums and folders",
        TextStyle::body));
}

void CompareTab::addList(const QString& title, std::size_t count, FoldedList::Lines lines)
{
    if (count == 0) {
        return;
    }
    auto* list = new FoldedList(title, static_cast<qsizetype>(count), std::move(lines));
    list->setOpen(!std::exchange(anyListOpen_, true));
    result_->addWidget(list);
}

/// The first list that there is stands open, the others folded.
void CompareTab::addLists()
{
    anyListOpen_ = false;
    const auto scanned = app_.scanned();
    const auto nameOf = [scanned](std::int64_t pk) {
        const auto position = scanned->positions.find(pk);
        return position == scanned->positions.end()
            ? QString()
            : displayed(shownName(scanned->result->snapshot.assets[position->second]));
    };
    const auto titles = std::make_shared<std::unordered_map<std::int64_t, QString>>();
    for (const auto& album : scanned->result->snapshot.albums) {
        titles->emplace(album.pk, displayed(album.title.value_or("")));
    }
    const auto titleOf = [titles](std::int64_t pk) {
        const auto title = titles->find(pk);
        return title == titles->end() ? QString() : title->second;
    };
    const auto& result = *comparison_;
    addList("Items that are not there", result.missingAssetPKs.size(),
        linesOf(comparison_, result.missingAssetPKs, nameOf));
    addList("Albums that are not there", result.missingAlbumPKs.size(),
        linesOf(comparison_, result.missingAlbumPKs, titleOf));
    addList("Folders that are not there", result.missingFolderPKs.size(),
        linesOf(comparison_, result.missingFolderPKs, titleOf));
    addList("Items that differ", result.changedAssets.size(),
        linesOf(comparison_, result.changedAssets, [](const ChangedAsset& asset) { return textOf(asset); }));
    addList("Albums and folders that differ", result.changedAlbums.size(),
        linesOf(comparison_, result.changedAlbums, [](const ChangedAlbum& album) { return textOf(album); }));
}

} // namespace vantorel
