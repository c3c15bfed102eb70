// vantorel-bench-windows [ASSETS [ALBUMS]]: opens the real windows without a display on a sample library
// (100,000 items and 5,000 albums, when nothing is given), does what a user does, and prints for each step
// how long it took until the window showed it and the longest time that an event had to wait meanwhile. Ends
// with the steps in which one waited longer than 100 ms, which would be felt, and then with status 1.
//
// With LIBRARY=FOLDER in the environment that library is used, and written there when it does not exist yet;
// the other one that it is compared with lies beside it. On a busy machine look at the processor's time: the
// wall clock also counts what others did.

#include "app/ItemTable.h"
#include "app/LargePreview.h"
#include "app/MainWindow.h"
#include "app/PictureGrid.h"
#include "app/Theme.h"
#include "app/model/MainTimers.h"
#include "app/model/RealServices.h"
#include "base/Clock.h"
#include "sample/SampleLibrary.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <QtCore/qdeadlinetimer.h>
#include <QtCore/qsettings.h>
#include <QtGui/qevent.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qlineedit.h>
#include <QtWidgets/qpushbutton.h>
#include <QtWidgets/qscrollbar.h>
#include <QtWidgets/qslider.h>
#include <QtWidgets/qtoolbutton.h>
#include <QtWidgets/qtreeview.h>

#include <unistd.h>

namespace vantorel {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
using SteadyTime = std::chrono::steady_clock::time_point;

constexpr Milliseconds mostWait{100}; ///< What is answered later than that is felt as late.

SteadyTime now() { return std::chrono::steady_clock::now(); }

/// The processor time of this thread: on a busy machine it tells more than the wall clock.
Milliseconds threadTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

struct Waits {
    Milliseconds wall{0};      ///< From posting an event until its turn.
    Milliseconds processor{0}; ///< What the windows' thread did in one go meanwhile.
};

/// Another thread posts an event every few milliseconds; how long each waits is what a click would have
/// waited.
class Watch final : public QObject {
public:
    Watch()
        : thread_([this] {
            while (!ends_) {
                if (!isPosted_.exchange(true)) {
                    QMetaObject::invokeMethod(
                        this,
                        [this, posted = now()] {
                            longest_.wall = std::max(longest_.wall, Milliseconds(now() - posted));
                            longest_.processor = std::max(longest_.processor, threadTime() - last_);
                            last_ = threadTime();
                            isPosted_ = false;
                        },
                        Qt::QueuedConnection);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        })
    {
    }
    ~Watch() override
    {
        ends_ = true;
        thread_.join();
    }
    Waits takeLongest() { return std::exchange(longest_, {}); }

private:
    Waits longest_{};
    Milliseconds last_ = threadTime();
    std::atomic<bool> isPosted_{false};
    std::atomic<bool> ends_{false};
    std::thread thread_;
};

/// Nothing is asked of a desktop here.
class NoDesktop final : public Desktop {
public:
    void choose(const Panel&, std::function<void(std::optional<DiskPath>)>) override { }
    bool closePanels() override { return false; }
    Assertion beginActivity(const std::string&) override { return std::make_shared<int>(0); }
    Assertion preventSuddenTermination() override { return std::make_shared<int>(0); }
    void announce(const std::string&) override { }
    void listen(Requests) override { }
    WindowClosed whenWindowIsClosed() const override { return WindowClosed::endsProgram; }
    Updates* updates() override { return nullptr; }
};

/// Forgets everything.
class NoSettings final : public SettingsStore {
public:
    bool flag(std::string_view) const override { return false; }
    std::optional<std::string> bytes(std::string_view) const override { return std::nullopt; }
    std::optional<std::string> text(std::string_view) const override { return std::nullopt; }
    void setFlag(std::string_view, bool) override { }
    void setBytes(std::string_view, const std::string&) override { }
    void setText(std::string_view, const std::string&) override { }
};

class Steps {
public:
    Steps(AppModel& model, MainWindow& window)
        : model_(model)
        , window_(window)
    {
    }

    void run(const FoundLibrary& library, const FoundLibrary& other, const DiskPath& destination)
    {
        step("scan", [&] { model_.scan(library); }, [&] { return model_.screen() != Screen::scanning; });
        if (!model_.scanned()) {
            fmt::print(stderr, "The scan failed: {}\n", model_.scanError().value_or(""));
            std::exit(1);
        }
        step("plan after the scan", [] {}, [&] { return !model_.isPlanning(); });
        tree();
        items("everything");
        if (auto* filter = visible<QLineEdit>("Filter albums")) {
            filterAlbums(*filter);
        }
        step(
            "missing or limited tab", [&] { model_.setTab(ResultTab::notSaved); },
            [&] { return visible<ItemTable>() != nullptr; });
        items("limited");
        chips();
        everyTab();
        compare(library, "itself");
        compare(other, "another");
        everyTab();
        exportSheet(destination);
        step(
            "scan again", [&] { model_.scan(library); }, [&] { return model_.screen() != Screen::scanning; });
        step("back to the libraries", [&] { model_.showSources(); });
        step("and to the results", [&] { model_.showResults(); });
    }

    /// Says which steps were felt; whether there were none.
    bool report() const
    {
        if (felt_.empty()) {
            fmt::print("In no step an event waited longer than {:.0f} ms.\n", mostWait.count());
            return true;
        }
        fmt::print("MORE THAN {:.0f} ms:\n", mostWait.count());
        for (const auto& line : felt_) {
            fmt::print("  {}\n", line);
        }
        return false;
    }

private:
    void everyTab()
    {
        for (const int tab : {0, 1, 2, 3, 2, 1, 0}) {
            step(fmt::format("tab {}", tab + 1), [&] { model_.setTab(static_cast<ResultTab>(tab)); });
        }
    }

    void tree()
    {
        step("albums tab", [&] { model_.setTab(ResultTab::albums); }, [&] { return visible<QTreeView>(); });
        auto* albums = visible<QTreeView>();
        step("expand all albums", [&] { albums->expandAll(); });
        scroll("scroll the albums", *albums);
        step(
            "choose the largest album", [&] { albums->setCurrentIndex(largest(*albums)); },
            [&] { return visible<PictureGrid>() != nullptr; });
        // Everything, or the first album where the tree begins with one.
        step("choose the first row", [&] { albums->setCurrentIndex(albums->model()->index(0, 0)); });
    }

    /// The items that are shown, as pictures and as a list.
    void items(const std::string& what)
    {
        show("Show as Pictures", what);
        if (auto* grid = visible<PictureGrid>()) {
            fmt::print("  {} items\n", grid->model()->rowCount());
            scroll(what + ": scroll the pictures", *grid);
            keys(what + ": page down", *grid, Qt::Key_PageDown);
            keys(what + ": to the right", *grid, Qt::Key_Right);
            if (auto* zoom = visible<QSlider>("Size of the pictures")) {
                series(what + ": zoom", 20, [&](int i) { zoom->setValue(96 + i * 8); });
                zoom->setValue(160);
            }
            const QSize size = window_.size();
            series(what + ": drag the window's edge", 30,
                [&](int i) { window_.resize(size + QSize(i < 15 ? 16 * i : 16 * (30 - i), 0)); });
            window_.resize(size);
            step(
                what + ": larger preview", [&] { press(*grid, Qt::Key_Space); },
                [&] { return visible<LargePreview>() != nullptr; });
            if (auto* large = visible<LargePreview>()) {
                keys(what + ": next in the preview", *large, Qt::Key_Right);
                step(what + ": close the preview", [&] { press(*large, Qt::Key_Escape); });
            }
            step(what + ": to the last", [&] { press(*grid, Qt::Key_End); });
            step(what + ": select all", [&] { grid->selectAll(); });
        }
        show("Show as List", what);
        if (auto* table = visible<ItemTable>()) {
            scroll(what + ": scroll the list", *table);
            keys(what + ": down the list", *table, Qt::Key_Down);
            for (const auto order : {Qt::DescendingOrder, Qt::AscendingOrder}) {
                sortByEach(*table, order, what);
            }
            step(what + ": select all rows", [&] { table->selectAll(); });
            sort(*table, ItemTableModel::date, Qt::DescendingOrder, what + ", all selected");
            step(what + ": select half", [&] {
                table->setCurrentIndex(table->model()->index(0, 0));
                const auto middle = table->model()->index(table->model()->rowCount() / 2, 3);
                table->selectionModel()->select(
                    {table->model()->index(0, 0), middle}, QItemSelectionModel::ClearAndSelect);
            });
            sort(*table, ItemTableModel::name, Qt::AscendingOrder, what + ", half selected");
            step(what + ": copy what is selected", [&] { press(*table, Qt::Key_C, Qt::ControlModifier); });
            step(what + ": select one", [&] { table->selectRow(0); });
        }
    }

    void show(const char* way, const std::string& what)
    {
        if (auto* button = visible<QToolButton>(way)) {
            step(fmt::format("{}: {}", what, way), [&] { button->click(); });
        }
    }

    void sortByEach(ItemTable& table, Qt::SortOrder order, const std::string& what)
    {
        for (const int column : {ItemTableModel::name, ItemTableModel::date, ItemTableModel::status}) {
            sort(table, column, order, what);
        }
    }

    void sort(ItemTable& table, int column, Qt::SortOrder order, const std::string& what)
    {
        bool isSorted = false;
        const auto told = QObject::connect(
            table.model(), &QAbstractItemModel::layoutChanged, &window_, [&] { isSorted = true; });
        const auto title = table.model()->headerData(column, Qt::Horizontal).toString().toStdString();
        step(
            fmt::format("{}: sort by {}{}", what, title, order == Qt::DescendingOrder ? " backwards" : ""),
            [&] { table.horizontalHeader()->setSortIndicator(column, order); }, [&] { return isSorted; });
        QObject::disconnect(told);
    }

    void filterAlbums(QLineEdit& filter)
    {
        step("albums tab again", [&] { model_.setTab(ResultTab::albums); });
        const QString text = "Album 12";
        series("type in the filter", static_cast<int>(text.size()),
            [&](int i) { filter.setText(text.left(i + 1)); });
        step("clear the filter", [&] { filter.clear(); });
    }

    void chips()
    {
        for (auto* chip : window_.findChildren<QPushButton*>("chip")) {
            if (chip->isVisible()) {
                step("limited: only " + chip->text().toStdString(), [&] { chip->click(); });
            }
        }
    }

    void compare(const FoundLibrary& library, const std::string& what)
    {
        step("compare tab", [&] { model_.setTab(ResultTab::compare); });
        step(
            "compare with " + what, [&] { model_.compare(library); },
            [&] { return model_.comparison() != nullptr || model_.compareError(); });
        for (auto* list : window_.findChildren<QToolButton*>("fold")) {
            if (list->isVisible()) {
                step("open or close " + list->text().toStdString(), [&] { list->click(); });
            }
        }
        for (auto* list : window_.findChildren<QToolButton*>("fold")) {
            if (list->isVisible() && !list->isChecked()) {
                list->click();
            }
        }
        for (auto* button : window_.findChildren<QPushButton*>()) {
            if (button->isVisible() && button->text() == "Copy List") {
                step("copy a list", [&] { button->click(); });
            }
        }
    }

    void exportSheet(const DiskPath& destination)
    {
        step("open the export sheet", [&] { model_.openExport(); });
        step(
            "choose a destination", [&] { model_.setExportDestination(destination); },
            [&] { return model_.destinationFacts() && !model_.isPlanning(); });
        for (auto* box : window_.findChildren<QCheckBox*>()) {
            if (box->isVisible()) {
                for (int i = 0; i < 2; ++i) {
                    step(
                        "tick " + box->text().left(24).toStdString(), [&] { box->click(); },
                        [&] { return !model_.isPlanning(); });
                }
            }
        }
        step("close the export sheet", [&] { model_.closeExport(); });
    }

    /// Does it, waits until `isThere`, and lets the window paint.
    void step(
        const std::string& name, const std::function<void()>& act,
        const std::function<bool()>& isThere = [] { return true; })
    {
        begin();
        post(act);
        wait(isThere);
        end(name);
    }

    /// The same many times, one after the other as fast as a hand does it.
    void series(const std::string& name, int count, const std::function<void(int)>& act)
    {
        begin();
        for (int i = 0; i < count; ++i) {
            post([&, i] { act(i); });
            const QDeadlineTimer frame(16);
            while (!frame.hasExpired()) {
                QApplication::processEvents(QEventLoop::AllEvents, 4);
            }
        }
        end(name);
    }

    /// From the top to the end and back, as when the handle of the scroll bar is dragged.
    void scroll(const std::string& name, const QAbstractItemView& view)
    {
        auto* bar = view.verticalScrollBar();
        constexpr int jumps = 60;
        series(name, jumps, [&](int i) {
            const int way = i < jumps / 2 ? i : jumps - 1 - i;
            bar->setValue(static_cast<int>(std::int64_t{bar->maximum()} * way / (jumps / 2)));
        });
    }

    void keys(const std::string& name, QWidget& widget, Qt::Key key)
    {
        series(name, 30, [&](int) { press(widget, key); });
    }

    static void press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers with = Qt::NoModifier)
    {
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, key, with);
            QApplication::sendEvent(&widget, &event);
        }
    }

    void begin()
    {
        settle();
        std::ignore = watch_.takeLongest();
        begun_ = now();
    }

    void post(const std::function<void()>& act)
    {
        bool isDone = false;
        QMetaObject::invokeMethod(
            &window_,
            [&] {
                act();
                isDone = true;
            },
            Qt::QueuedConnection);
        wait([&] { return isDone; });
    }

    static void wait(const std::function<bool()>& condition)
    {
        const QDeadlineTimer end(std::chrono::minutes(5));
        while (!condition() && !end.hasExpired()) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        if (end.hasExpired()) {
            fmt::print(stderr, "What the next step shows did not come within five minutes.\n");
            std::_Exit(2);
        }
    }

    void end(const std::string& name)
    {
        const Milliseconds took = now() - begun_;
        settle();
        const auto longest = watch_.takeLongest();
        const bool isFelt = longest.wall > mostWait;
        const auto line =
            fmt::format("{:<44} {:>7.0f} ms   longest wait {:>5.0f} ms, processor {:>5.0f} ms{}", name,
                took.count(), longest.wall.count(), longest.processor.count(), isFelt ? "   FELT" : "");
        fmt::print("{}\n", line);
        std::fflush(stdout);
        if (isFelt) {
            felt_.push_back(line);
        }
    }

    static void settle()
    {
        const QDeadlineTimer end(std::chrono::milliseconds(200));
        while (!end.hasExpired()) {
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        }
    }

    template <typename Widget>
    Widget* visible(const QString& name = {})
    {
        for (auto* widget : window_.findChildren<Widget*>()) {
            if (widget->isVisible() && (name.isEmpty() || widget->accessibleName() == name)) {
                return widget;
            }
        }
        return nullptr;
    }

    /// Of the albums at the top.
    QModelIndex largest(const QTreeView& tree) const
    {
        std::map<std::string, std::ptrdiff_t> sizes;
        for (const auto& album : model_.scanned()->result->snapshot.albums) {
            if (album.kind == Album::Kind::album) {
                sizes[album.title.value_or("")] = std::ssize(album.assetPKs);
            }
        }
        QModelIndex found;
        std::ptrdiff_t most = -1;
        for (int row = 0; row < tree.model()->rowCount(); ++row) {
            const auto index = tree.model()->index(row, 0);
            const auto size = sizes.find(index.data().toString().toStdString());
            if (size != sizes.end() && size->second > most) {
                most = size->second;
                found = index;
            }
        }
        return found;
    }

    AppModel& model_;
    MainWindow& window_;
    Watch watch_{};
    SteadyTime begun_{};
    std::vector<std::string> felt_{};
};

void writeSample(const DiskPath& place, std::size_t assets, std::size_t albums)
{
    auto plan = sample::drawPlan(assets, 1);
    sample::SampleAlbum everything{.title = "Album of everything"};
    for (std::size_t i = 0; i < plan.items.size(); i += 2) {
        everything.items.push_back(i);
    }
    plan.albums.insert(plan.albums.begin(), std::move(everything));
    for (auto& album : plan.albums) {
        if (album.parent) {
            ++*album.parent;
        }
    }
    std::size_t folder = 0;
    for (std::size_t i = plan.albums.size(); i < albums; ++i) {
        if (i % 50 == 0 || folder == 0) {
            folder = plan.albums.size();
            plan.albums.push_back(
                {.title = fmt::format("Folder {}", i), .kind = sample::SampleAlbum::Kind::folder});
        }
        sample::SampleAlbum album{.title = fmt::format("Album {}", i), .parent = folder};
        for (std::size_t k = 0; k < 20; ++k) {
            album.items.push_back((i * 37 + k) % plan.items.size());
        }
        plan.albums.push_back(std::move(album));
    }
    sample::WriteOptions options;
    options.hardLinkedFiles = true;
    sample::writeLibrary(plan, options, place);
}

int run(int argc, char** argv)
{
    const auto count = [&](int n, std::size_t usual) {
        return argc > n ? static_cast<std::size_t>(std::strtoull(argv[n], nullptr, 10)) : usual;
    };
    if (!std::getenv("QT_QPA_PLATFORM")) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1); // no other thread yet
    }
    QApplication application(argc, argv);
    theme::apply(application);
    CoreServices services;
    services.calls = realSystemCalls();
    services.clock = systemClock();
    services.children = realChildProcesses(services.clock);
    services.temporary = TemporaryFiles::create(services.calls).value();

    const char* given = std::getenv("LIBRARY");
    const DiskPath place =
        given ? DiskPath(given) : services.temporary->temporaryDirectory() / "Bench.photoslibrary";
    if (!std::filesystem::exists(place)) {
        writeSample(place, count(1, 100'000), count(2, 5'000));
    }
    // It has hardly anything of the first.
    const DiskPath otherPlace = place.parent_path() / (place.stem().native() + " other.photoslibrary");
    if (!std::filesystem::exists(otherPlace)) {
        sample::writeLibrary(sample::drawPlan(1'000, 2), {.seed = 2}, otherPlace);
    }
    auto environment = realEnvironment(services);
    environment.finder.find = [](const SharedCancelToken&) { return FindResult{}; };
    const auto library = environment.finder.inspect(place).value();
    const auto other = environment.finder.inspect(otherPlace).value();
    const auto timers = std::make_shared<ContinuousTimers>(services.clock);
    QSettings settings(
        QString::fromStdString((services.temporary->temporaryDirectory() / "windows.ini").native()),
        QSettings::IniFormat);
    bool nothingWasFelt = false;
    {
        const auto desktop = std::make_shared<NoDesktop>();
        AppModel model(std::move(environment),
            {
                .core = realCoreWork(services),
                .start = startOnThread,
                .timers = timers,
                .settings = std::make_shared<NoSettings>(),
                .desktop = desktop,
            });
        model.finishOnboarding();
        MainWindow window(model, timers, settings, *desktop);
        window.show();
        Steps steps(model, window);
        steps.run(library, other, services.temporary->temporaryDirectory());
        nothingWasFelt = steps.report();
    }
    std::fflush(nullptr);
    services = {};
    _exit(nothingWasFelt ? 0 : 1); // a thread may still drop a large result
}

} // namespace
} // namespace vantorel

int main(int argc, char** argv) { return vantorel::run(argc, argv); }
