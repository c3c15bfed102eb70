#include "app/AlbumsView.h"
#include "app/AlbumsTab.h"
#include "app/ItemTable.h"
#include "app/PictureGrid.h"
#include "app/pictures/PictureService.h"
#include "tests/app/AppFixture.h"

#include <gmock/gmock.h>

#include <QtGui/qaccessible.h>
#include <QtGui/qevent.h>
#include <QtTest/qabstractitemmodeltester.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qlineedit.h>

namespace vantorel {
namespace {

using testing::ElementsAre;

/// Four items and, where a test wants them, albums in folders.
class AlbumLists : public AppFixture {
protected:
    AlbumLists()
    {
        contents.snapshot.assets = {
            {.pk = 1, .dateCreated = Date(std::chrono::sys_days(std::chrono::year(2004) / 6 / 1))}, {.pk = 2},
            {.pk = 3, .dateCreated = Date(std::chrono::sys_days(std::chrono::year(2001) / 6 / 1))},
            {.pk = 4, .isTrashed = true}};
        using Status = OriginalEntry::Status;
        contents.originals.entries = {{1, {.status = Status::present}}, {2, {.status = Status::missing}},
            {3, {.status = Status::present}}, {4, {.status = Status::present}}};
    }
    void addAlbums()
    {
        using Kind = Album::Kind;
        contents.snapshot.albums = {
            {.pk = 10, .title = "Trips", .kind = Kind::folder},
            {.pk = 11, .title = "Rome <b>", .kind = Kind::album, .parentPK = 10, .assetPKs = {1, 2}},
            {.pk = 12, .title = "Cafe\u0301s", .kind = Kind::album, .parentPK = 10, .assetPKs = {1}},
            {.pk = 13, .title = "Rome again", .kind = Kind::album, .assetPKs = {3}},
            {.pk = 14, .title = "Empty", .kind = Kind::folder},
        };
    }
    static void collect(
        const QAbstractItemModel& model, const QModelIndex& above, std::vector<std::string>& titles)
    {
        for (int row = 0; row < model.rowCount(above); ++row) {
            const auto index = model.index(row, 0, above);
            titles.push_back(index.data().toString().toStdString());
            collect(model, index, titles);
        }
    }
    static std::vector<std::string> titles(const QAbstractItemModel& model)
    {
        std::vector<std::string> all;
        collect(model, {}, all);
        return all;
    }
    std::shared_ptr<const ScannedLibrary> scannedContents() const
    {
        return std::make_shared<const ScannedLibrary>(
            scannedLibraryOf(std::make_shared<const LibraryScanResult>(contents)));
    }
    void openTab()
    {
        app = &scannedModel();
        tab = std::make_unique<AlbumsTab>(*app, pictures);
        tab->resize(1000, 600);
        tab->show();
        settle();
    }
    static void settle()
    {
        for (int i = 0; i < 3; ++i) {
            QApplication::processEvents();
        }
    }
    bool shows(const QString& text) const
    {
        const auto labels = tab->findChildren<QLabel*>();
        return std::ranges::any_of(
            labels, [&](const QLabel* label) { return label->isVisible() && label->text() == text; });
    }
    /// The keys of the items in the grid, in its order; none without a grid.
    std::vector<std::int64_t> shownItems() const
    {
        std::vector<std::int64_t> keys;
        if (auto* grid = tab->findChild<PictureGrid*>(); grid->isVisible()) {
            const auto& items = static_cast<const ItemTableModel&>(*grid->model());
            for (int row = 0; row < items.rowCount(); ++row) {
                keys.push_back(items.assetAt(row).pk);
            }
        }
        return keys;
    }

    AppModel* app = nullptr;
    PictureService pictures{nullptr, [](const std::function<void()>&) { return false; }, nullptr};
    std::unique_ptr<AlbumsTab> tab{};
};

TEST_F(AlbumLists, showEverythingThenAlbumsInTheirFolders)
{
    addAlbums();
    AlbumTreeModel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    model.show(scannedContents());
    EXPECT_THAT(titles(model),
        ElementsAre("All photos and videos", "Trips", "Rome <b>", "Cafe\u0301s", "Rome again", "Empty"));
    const auto rome = model.index(0, 0, model.index(1, 0));
    EXPECT_EQ(rome.data(Qt::AccessibleTextRole).toString(), "Rome <b>, 2 items, 1 without original");
    EXPECT_EQ(
        rome.data(Qt::ToolTipRole).toString(), "<qt>Rome &lt;b&gt;<br>2 items · 1 without original</qt>");
    EXPECT_EQ(itemCounts(model.rowAt(model.index(0, 0))), "4 items · 1 without original");
    EXPECT_EQ(itemCounts(model.rowAt(model.index(2, 0))), "1 item");

    model.setFilter("ROME");
    EXPECT_THAT(titles(model), ElementsAre("Trips", "Rome <b>", "Rome again"));
    model.setFilter("trip");
    EXPECT_THAT(titles(model), ElementsAre("Trips", "Rome <b>", "Cafe\u0301s")) << "with all that is in it";
    model.setFilter("caf\u00e9");
    EXPECT_THAT(titles(model), ElementsAre("Trips", "Cafe\u0301s")) << "however it is composed";
    model.setFilter("none of them");
    EXPECT_THAT(titles(model), testing::IsEmpty());
    model.setFilter("");
    EXPECT_EQ(titles(model).size(), 6U);
}

TEST_F(AlbumLists, keepWhatWasOpenAndChosenWhileTheyAreFiltered)
{
    addAlbums();
    openTab();
    auto* tree = tab->findChild<AlbumsView*>();
    auto* filter = tab->findChild<QLineEdit*>();
    QFocusEvent comes(QEvent::FocusIn, Qt::TabFocusReason);
    QApplication::sendEvent(tree, &comes);
    EXPECT_THAT(shownItems(), ElementsAre(3, 1, 2, 4)) << "the keyboard begins with the first row";
    tree->collapseAll();
    const auto again = tree->model()->index(2, 0);
    tree->setCurrentIndex(again);
    EXPECT_THAT(shownItems(), ElementsAre(3));
    filter->setText("cafes");
    filter->setText("Caf");
    EXPECT_TRUE(tree->isExpanded(tree->model()->index(0, 0))) << "what was found is seen";
    EXPECT_THAT(shownItems(), ElementsAre(3)) << "what was chosen is still looked at";
    filter->clear();
    EXPECT_FALSE(tree->isExpanded(tree->model()->index(1, 0)));
    EXPECT_EQ(tree->currentIndex().data().toString(), "Rome again");
    EXPECT_THAT(shownItems(), ElementsAre(3));
    tree->setCurrentIndex(tree->model()->index(1, 0));
    EXPECT_TRUE(shows("Open it and choose an album inside."));
    tree->setCurrentIndex(tree->model()->index(0, 0));
    EXPECT_THAT(shownItems(), ElementsAre(3, 1, 2, 4)) << "by date, then those without one";
    auto* spoken = QAccessible::queryAccessibleInterface(tree);
    EXPECT_EQ(spoken->child(0)->text(QAccessible::Name), "Albums") << "the heading of the only column";
    EXPECT_EQ(
        spoken->child(1)->text(QAccessible::Name), "All photos and videos, 4 items, 1 without original");
    tree->expandAll();
    spoken->child(3)->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_EQ(tree->currentIndex().data().toString(), "Rome <b>");
    EXPECT_THAT(shownItems(), ElementsAre(1, 2)) << "what a screen reader selects is chosen";
}

TEST_F(AlbumLists, showAllItemsOfALibraryWithoutAlbums)
{
    openTab();
    EXPECT_TRUE(shows("This library has no albums of its own, or none could be read."));
    EXPECT_THAT(shownItems(), ElementsAre(3, 1, 2, 4));

    tab.reset();
    contents = {};
    openTab();
    EXPECT_TRUE(shows("This library has no albums of its own, or none could be read."));
    EXPECT_FALSE(tab->findChild<AlbumsView*>()->isVisible()) << "there is nothing to choose";
}

} // namespace
} // namespace vantorel
