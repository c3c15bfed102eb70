#include "app/ItemBrowser.h"
#include "app/LargePreview.h"
#include "app/PictureGrid.h"
#include "app/PreviewPane.h"
#include "app/pictures/PictureService.h"
#include "tests/app/AppFixture.h"
#include "tests/app/TestPictures.h"
#include "tests/support/ManualClock.h"

#include <gmock/gmock.h>

#include <numeric>

#include <QtGui/qaccessible.h>
#include <QtGui/qaction.h>
#include <QtGui/qclipboard.h>
#include <QtGui/qevent.h>
#include <QtGui/qguiapplication.h>
#include <QtWidgets/qabstractbutton.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qlabel.h>
#include <QtWidgets/qmenu.h>
#include <QtWidgets/qscrollbar.h>
#include <QtWidgets/qslider.h>

namespace vantorel {
namespace {

/// Lists of items as a user works with them, over a library without files whose pictures a test gives.
class Items : public AppFixture {
protected:
    void SetUp() override
    {
        LibraryScanResult scan;
        scan.snapshot.libraryURL = "/library";
        for (std::int64_t pk = 1; pk <= 1000; ++pk) {
            auto number = std::to_string(pk);
            number.insert(0, 12 - number.size(), '0');
            Asset asset{.pk = pk,
                .uuid = "A0000000-0000-4000-8000-" + number,
                .originalFileName = "IMG_" + std::to_string(pk) + ".JPG"};
            if (pk == 2) {
                asset.caption = "At the <b>lake</b>\nwith Anna";
                asset.keywords = {"lake", "summer"};
                asset.people = {"Anna"};
            }
            if (pk == 3) {
                asset.originalFileName = "<img src='/x'>";
            }
            scan.snapshot.assets.push_back(asset);
            using Status = OriginalEntry::Status;
            scan.originals.entries[pk] = {.status = pk % 10 == 0 ? Status::missing
                    : pk % 10 == 1                               ? Status::derivativeOnly
                                                                 : Status::present};
        }
        library_ = std::make_shared<const ScannedLibrary>(
            scannedLibraryOf(std::make_shared<const LibraryScanResult>(std::move(scan))));
        pictures.setLibrary(library_);
        app = &model();
        open();
    }
    void open()
    {
        browser = std::make_unique<ItemBrowser>(*app, pictures, ItemBrowser::Place::albums);
        browser->resize(900, 600);
        browser->setVisible(true);
        ItemTableModel::Rows rows(library_->result->snapshot.assets.size());
        std::iota(rows.begin(), rows.end(), 0U);
        browser->show(library_, rows);
        settle();
    }
    void settle()
    {
        for (int i = 0; i < 4; ++i) {
            QApplication::processEvents();
            readers.runAll();
        }
    }
    template <typename Widget>
    Widget* visible(QWidget* in = nullptr)
    {
        for (auto* found : (in ? in : browser.get())->template findChildren<Widget*>()) {
            if (found->isVisible()) {
                return found;
            }
        }
        return nullptr;
    }
    void press(int key, Qt::KeyboardModifiers with = Qt::NoModifier)
    {
        auto* target = visible<LargePreview>() ? static_cast<QWidget*>(visible<LargePreview>())
                                               : static_cast<QWidget*>(visible<QAbstractItemView>());
        QKeyEvent down(QEvent::KeyPress, key, with);
        QApplication::sendEvent(target, &down);
        settle();
    }
    void click(const QString& name)
    {
        for (auto* button : browser->findChildren<QAbstractButton*>()) {
            if (button->accessibleName() == name && button->isVisible()) {
                button->click();
                settle();
                return;
            }
        }
        FAIL() << name.toStdString();
    }
    bool shows(const QString& text)
    {
        const auto labels = browser->findChildren<QLabel*>();
        return std::ranges::any_of(
            labels, [&](const QLabel* label) { return label->isVisible() && label->text() == text; });
    }
    std::size_t currentPosition()
    {
        return static_cast<std::size_t>(visible<QAbstractItemView>()->currentIndex().row());
    }

    std::shared_ptr<const ScannedLibrary> library_{};
    std::vector<std::string> asked{};
    std::optional<PictureTrouble> trouble{};
    TestWorkers readers{};
    PictureService pictures{[this](const PictureQuestion& question) -> PictureRead {
                                asked.push_back(question.files.front());
                                if (trouble) {
                                    return std::unexpected(*trouble);
                                }
                                return PictureFile{.bytes = pictureBytes(64, 48, "jpeg")};
                            },
        [this](std::function<void()> work) { return readers.start(std::move(work)); }, nullptr};
    AppModel* app = nullptr;
    std::unique_ptr<ItemBrowser> browser{};
};

TEST_F(Items, areReadAsTheyAreScrolledTo)
{
    auto* grid = visible<PictureGrid>();
    ASSERT_NE(grid, nullptr);
    EXPECT_GT(asked.size(), 5U);
    EXPECT_LT(asked.size(), 60U) << "what is on the screen and a page more";
    asked.clear();
    grid->verticalScrollBar()->setValue(grid->verticalScrollBar()->maximum());
    settle();
    EXPECT_THAT(asked.front(), testing::HasSubstr("0009")) << "one of the last ones";
    EXPECT_LT(asked.size(), 60U);
    EXPECT_EQ(pictures.picture(999, 160).state, PictureService::State::here);

    asked.clear();
    browser->hide();
    settle();
    browser->setVisible(true);
    settle();
    EXPECT_THAT(asked, testing::IsEmpty()) << "all of it is still here";
}

TEST_F(Items, areLookedAtWithTheKeyboardAlone)
{
    press(Qt::Key_Home);
    press(Qt::Key_Right);
    EXPECT_EQ(currentPosition(), 1U);
    EXPECT_TRUE(shows("IMG_2.JPG"));
    EXPECT_TRUE(shows("At the <b>lake</b>\nwith Anna"));
    EXPECT_TRUE(shows("lake, summer"));
    EXPECT_TRUE(shows("Anna"));
    EXPECT_TRUE(shows("Original present"));

    press(Qt::Key_Space);
    auto* large = visible<LargePreview>();
    ASSERT_NE(large, nullptr);
    EXPECT_THAT(large->accessibleName().toStdString(), testing::StartsWith("IMG_2.JPG"));
    press(Qt::Key_Right);
    EXPECT_THAT(large->accessibleName().toStdString(), testing::StartsWith("<img"));
    EXPECT_EQ(desktop->announced.back(), large->accessibleName().toStdString());
    press(Qt::Key_Tab);
    press(Qt::Key_End);
    press(Qt::Key_Right);
    EXPECT_THAT(large->accessibleName().toStdString(), testing::StartsWith("IMG_1000.JPG"))
        << "it ends there";
    press(Qt::Key_Escape);
    EXPECT_EQ(visible<LargePreview>(), nullptr);
    EXPECT_EQ(currentPosition(), 999U) << "the list went along";
    press(Qt::Key_Space);
    press(Qt::Key_Space);
    EXPECT_EQ(visible<LargePreview>(), nullptr);

    press(Qt::Key_C, Qt::ControlModifier);
    ManualClock::waitForThreads();
    settle();
    EXPECT_EQ(
        QGuiApplication::clipboard()->text(), "IMG_1000.JPG\t\tMissing: not in this copy of the library\n");
}

TEST_F(Items, areSpokenAsTheyAreShown)
{
    auto* grid = visible<PictureGrid>();
    auto* spoken = QAccessible::queryAccessibleInterface(grid);
    ASSERT_NE(spoken, nullptr);
    EXPECT_EQ(spoken->text(QAccessible::Name), "Items");
    EXPECT_EQ(spoken->role(), QAccessible::List);
    EXPECT_EQ(spoken->tableInterface(), nullptr);
    EXPECT_EQ(spoken->childCount(), 1000) << "one for each item";
    EXPECT_EQ(
        spoken->child(9)->text(QAccessible::Name), "IMG_10.JPG, Missing: not in this copy of the library");
    auto* fourth = spoken->child(3);
    EXPECT_EQ(fourth->role(), QAccessible::ListItem);
    EXPECT_EQ(fourth->text(QAccessible::Name), "IMG_4.JPG, Original present");
    EXPECT_EQ(spoken->child(3), fourth);
    EXPECT_EQ(spoken->indexOfChild(fourth), 3);
    EXPECT_EQ(spoken->child(1000), nullptr);
    const auto place = fourth->rect().center();
    EXPECT_EQ(spoken->childAt(place.x(), place.y()), fourth);
    EXPECT_FALSE(fourth->state().offscreen);
    EXPECT_TRUE(spoken->child(999)->state().offscreen);
    EXPECT_FALSE(fourth->state().selected);

    fourth->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(fourth->state().selected);
    EXPECT_EQ(currentPosition(), 3U);
    fourth->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_NE(visible<LargePreview>(), nullptr);
    press(Qt::Key_Escape);
    QApplication::setActiveWindow(browser.get());
    grid->setFocus();
    press(Qt::Key_Right);
    ASSERT_NE(spoken->focusChild(), nullptr);
    EXPECT_EQ(spoken->focusChild()->text(QAccessible::Name), "IMG_5.JPG, Original present");
    EXPECT_TRUE(spoken->focusChild()->state().focused);
    const auto tip = grid->model()->index(2, 0).data(Qt::ToolTipRole).toString();
    EXPECT_THAT(tip.toStdString(), testing::HasSubstr("&lt;img")) << "text from a library is never markup";
    browser->show(library_, {5});
    EXPECT_EQ(spoken->childCount(), 1);
    EXPECT_EQ(spoken->child(0)->text(QAccessible::Name).toStdString(), "IMG_6.JPG, Original present");
}

TEST_F(Items, lookAsTheyDidTheLastTime)
{
    press(Qt::Key_Home);
    press(Qt::Key_End);
    click("Show as List");
    ASSERT_NE(visible<ItemTable>(), nullptr);
    EXPECT_EQ(currentPosition(), 999U);
    click("Show Preview");
    EXPECT_EQ(visible<PreviewPane>(), nullptr);
    click("Show as Pictures");
    visible<QSlider>()->setValue(200);
    settle();
    EXPECT_EQ(visible<PictureGrid>()->tile(), 200);

    browser.reset();
    app = &model(); // the program was started again
    open();
    EXPECT_EQ(visible<PreviewPane>(), nullptr);
    EXPECT_EQ(visible<PictureGrid>()->tile(), 200);
    settings->setText(settingsKeys::itemsLook, R"({"tile": 1e9, "albumsAsGrid": "no"})");
    browser.reset();
    app = &model();
    open();
    EXPECT_EQ(app->itemsLook(), ItemsLook{}) << "what was never written by this program";
}

TEST_F(Items, leaveTheScreenWithTheirPreview)
{
    press(Qt::Key_Home);
    press(Qt::Key_Space);
    ASSERT_NE(visible<LargePreview>(), nullptr);
    browser->hide(); // as when another library is scanned
    browser->setVisible(true);
    EXPECT_EQ(visible<LargePreview>(), nullptr);
}

TEST_F(Items, keepWhatIsSelectedWhenTheyAreSorted)
{
    press(Qt::Key_Home);
    browser->items().sort(ItemTableModel::status, Qt::DescendingOrder);
    ManualClock::waitForThreads();
    settle();
    EXPECT_NE(currentPosition(), 0U);
    EXPECT_EQ(browser->items().positionAt(static_cast<int>(currentPosition())), 0U);
}

TEST_F(Items, areSortedWithoutTheMouseAndSelectedByAScreenReader)
{
    for (const auto& [title, first] : {std::pair("Name", 2U), std::pair("On This Disk", 9U),
             std::pair("Reversed", 2U), std::pair("Usual Order", 999U), std::pair("Reversed", 0U)}) {
        for (auto* action : browser->findChild<QMenu*>()->actions()) {
            if (action->text() == title) {
                Q_EMIT browser->findChild<QMenu*>()->aboutToShow();
                action->trigger();
            }
        }
        ManualClock::waitForThreads();
        settle();
        EXPECT_EQ(browser->items().positionAt(0), first) << title;
    }
    click("Show as List");
    auto* spoken = QAccessible::queryAccessibleInterface(visible<ItemTable>());
    spoken->tableInterface()
        ->cellAt(6, ItemTableModel::name)
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_TRUE(shows("IMG_7.JPG")) << "in the preview";
}

TEST_F(Items, sayThatADiskDoesNotAnswerAndTryAgain)
{
    trouble = PictureTrouble::silent;
    visible<PictureGrid>()->verticalScrollBar()->setValue(5000);
    settle();
    EXPECT_TRUE(
        shows("The disk is not answering, so no more pictures are shown from it for now. This does not "
              "mean anything is damaged."));
    trouble.reset();
    asked.clear();
    for (auto* button : browser->findChildren<QAbstractButton*>()) {
        if (button->text() == "Try Again") {
            button->click();
        }
    }
    settle();
    EXPECT_GT(asked.size(), 5U);
    EXPECT_FALSE(pictures.diskText().size());
}

} // namespace
} // namespace vantorel
