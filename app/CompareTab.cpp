#include "app/CompareTab.h"

#include "app/Layouts.h"
#include "app/Privacy.h"
#include "app/SourcesView.h"
#include "app/Theme.h"
#include "app/model/WindowTexts.h"
#include "base/Text.h"

#include <map>

#include <QtWidgets/qboxlayout.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qprogressbar.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollarea.h>

namespace vantorel {

using theme::TextStyle;

namespace {

constexpr qsizetype mostEntries = 10;

QString count(std::int64_t number) { return shown(grouped(number)); }

} // namespace

CompareTab::CompareTab(AppModel& app, QWidget* parent)
    : ModelView(app, parent)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    outer->addWidget(area);
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 16, 12, 0);
    layout->setSpacing(12);
    area->setWidget(content);

    auto* head = new QHBoxLayout;
    head->addWidget(theme::text("See what this library has that another one, usually today's, does not.",
                        TextStyle::body),
        1);
    auto* choose = new QPushButton("Choose Another Library…");
    connect(choose, &QPushButton::clicked, this, [this] { app_.chooseLibraryToCompare(); });
    head->addWidget(choose, 0, Qt::AlignTop);
    layout->addLayout(head);
    access_ = new WarningLine("To compare with the library on this Mac, turn on Full Disk Access.");
    access_->addButton("Open System Settings", openPrivacySettings);
    layout->addWidget(access_);
    error_ = new WarningLine("");
    layout->addWidget(error_);
    none_ = theme::text("No other library found", TextStyle::heading);
    layout->addWidget(none_);
    others_ = new QVBoxLayout;
    others_->setSpacing(4);
    layout->addLayout(others_);

    progress_ = new QWidget;
    auto* running = new QVBoxLayout(progress_);
    running->setContentsMargins(0, 0, 0, 0);
    stage_ = theme::text("", TextStyle::body);
    bar_ = new QProgressBar;
    bar_->setTextVisible(false);
    notice_ = theme::text("", TextStyle::quiet);
    notice_->setMinimumHeight(notice_->fontMetrics().lineSpacing() * 2);
    auto* stop = new QPushButton("Stop");
    connect(stop, &QPushButton::clicked, this, [this] { app_.stopComparing(); });
    running->addWidget(stage_);
    running->addWidget(bar_);
    running->addWidget(notice_);
    running->addWidget(stop, 0, Qt::AlignLeft);
    layout->addWidget(progress_);
    result_ = new QVBoxLayout;
    result_->setSpacing(8);
    layout->addLayout(result_);
    layout->addStretch();
    watch(app_.found, app_.scannedLibrary, app_.hasFullDiskAccess, app_.isComparing, app_.compareProgress,
        app_.compareWait, app_.compareError, app_.comparison, app_.comparedWith);
}

void CompareTab::refresh()
{
    access_->setVisible(!app_.hasFullDiskAccess());
    error_->setTextOrHide(app_.compareError());
    progress_->setVisible(app_.isComparing());
    if (app_.isComparing()) {
        const auto progress = app_.compareProgress();
        stage_->setText("Scanning " + displayed(app_.comparedWith() ? app_.comparedWith()->name : "") + ". "
            + shown(texts::scanCounts(progress)));
        bar_->setRange(0, progress.total > 0 ? 1000 : 0);
        bar_->setValue(progress.total > 0 ? static_cast<int>(progress.done * 1000 / progress.total) : 0);
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
    clearLayout(*others_);
    bool any = false;
    for (const auto& library : found_->libraries) {
        if (scannedLibrary_ && library.url == scannedLibrary_->url) {
            continue;
        }
        any = true;
        others_->addWidget(new LibraryRow(library, [this, library] { app_.compare(library); }, "Compare"));
    }
    none_->setVisible(!any);
}

void CompareTab::addList(const QString& title, const QStringList& lines)
{
    if (lines.isEmpty()) {
        return;
    }
    result_->addWidget(theme::text(title, TextStyle::heading));
    for (qsizetype i = 0; i < std::min(mostEntries, lines.size()); ++i) {
        result_->addWidget(theme::text(lines[i], TextStyle::body));
    }
    if (lines.size() > mostEntries) {
        result_->addWidget(
            theme::text("And " + count(lines.size() - mostEntries) + " more.", TextStyle::quiet));
    }
}

void CompareTab::showComparison()
{
    clearLayout(*result_);
    const auto scanned = app_.scanned();
    if (!comparison_ || !scanned) {
        return;
    }
    const auto& snapshot = scanned->result->snapshot;
    const auto& comparison = *comparison_;
    result_->addSpacing(8);
    result_->addWidget(
        theme::text("Compared with " + displayed(app_.comparedWith() ? app_.comparedWith()->name : ""),
            TextStyle::heading));
    result_->addWidget(theme::text(count(std::ssize(comparison.missingAssetPKs)) + " not there, "
            + count(std::ssize(comparison.changedAssets)) + " different, " + count(comparison.sameAssetCount)
            + " the same",
        TextStyle::number));
    for (const auto& caution : comparison.cautions) {
        result_->addWidget(new WarningLine(displayed(caution)));
    }
    QStringList items;
    for (const auto pk : comparison.missingAssetPKs) {
        if (const auto position = scanned->positions.find(pk); position != scanned->positions.end()) {
            items << displayed(shownName(snapshot.assets[position->second]));
        }
    }
    addList("Items that are not there", items);
    std::map<std::int64_t, QString> titles;
    for (const auto& album : snapshot.albums) {
        titles[album.pk] = displayed(album.title.value_or(""));
    }
    QStringList albums;
    for (const auto* keys : {&comparison.missingFolderPKs, &comparison.missingAlbumPKs}) {
        for (const auto pk : *keys) {
            albums << titles[pk];
        }
    }
    addList("Albums and folders that are not there", albums);
    QStringList changed;
    for (const auto& asset : comparison.changedAssets) {
        QStringList labels;
        for (const auto change : asset.changes) {
            labels << shown(changeLabel(change));
        }
        changed << displayed(asset.name) + ": " + labels.join(", ");
    }
    addList("Items that differ", changed);
    QStringList changedAlbums;
    for (const auto& album : comparison.changedAlbums) {
        QStringList labels;
        for (const auto& label : changeLabels(album)) {
            labels << displayed(label);
        }
        changedAlbums << displayed(album.name) + ": " + labels.join(", ");
    }
    addList("Albums that differ", changedAlbums);
    result_->addWidget(theme::text("The same in both", TextStyle::heading));
    result_->addWidget(theme::text(count(comparison.sameAssetCount) + " items, "
            + count(comparison.sameAlbumCount) + " albums and folders",
        TextStyle::body));
    for (const auto& sentence : countSentences(comparison)) {
        result_->addWidget(theme::text(shown(sentence), TextStyle::quiet));
    }
}

} // namespace vantorel
