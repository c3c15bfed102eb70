// vantorel-bench-windows [ASSETS [ALBUMS]]: opens the real windows without a display on a sample library
// (100,000 items and 5,000 albums, when nothing is given), does what a user does, and prints for each step
// how long it took until the window showed it and the longest time that an event had to wait meanwhile. More
// than 100 ms would be felt.
//
// With LIBRARY=FOLDER in the environment that library is used, and written there when it does not exist yet.

#include "app/MainWindow.h"
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

#include <QtCore/qdeadlinetimer.h>
#include <QtCore/qsettings.h>
#include <QtWidgets/qapplication.h>
#include <QtWidgets/qcheckbox.h>
#include <QtWidgets/qheaderview.h>
#include <QtWidgets/qlineedit.h>
#include <QtWidgets/qtableview.h>
#include <QtWidgets/qtreeview.h>

#include <unistd.h>

namespace vantorel {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;
using SteadyTime = std::chrono::steady_clock::time_point;

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

    /// Does it, waits until `isThere`, and lets the window paint.
    void step(const std::string& name, const std::function<void()>& act, const std::function<bool()>& isThere)
    {
        settle();
        std::ignore = watch_.takeLongest();
        const auto begun = now();
        QMetaObject::invokeMethod(&window_, act, Qt::QueuedConnection);
        const QDeadlineTimer end(std::chrono::minutes(5));
        do {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        } while (!isThere() && !end.hasExpired());
        const Milliseconds took = now() - begun;
        settle();
        const auto longest = watch_.takeLongest();
        fmt::print("{:<34} {:>8.0f} ms   longest wait {:>6.0f} ms, processor {:>6.0f} ms\n", name,
            took.count(), longest.wall.count(), longest.processor.count());
        std::fflush(stdout);
    }

    template <typename View>
    View* visible(const QString& name = {})
    {
        for (auto* view : window_.findChildren<View*>()) {
            if (view->isVisible() && (name.isEmpty() || view->accessibleName() == name)) {
                return view;
            }
        }
        return nullptr;
    }

    void run(const FoundLibrary& library)
    {
        const auto done = [] { return true; };
        step("scan", [&] { model_.scan(library); }, [&] { return model_.screen() != Screen::scanning; });
        if (!model_.scanned()) {
            fmt::print(stderr, "The scan failed: {}\n", model_.scanError().value_or(""));
            std::exit(1);
        }
        step("plan after the scan", [] {}, [&] { return !model_.isPlanning(); });
        step("albums tab", [&] { model_.setTab(ResultTab::albums); }, [&] { return visible<QTreeView>(); });
        auto* tree = visible<QTreeView>();
        step("expand all albums", [&] { tree->expandAll(); }, done);
        step(
            "choose the largest album", [&] { tree->setCurrentIndex(largest(*tree)); },
            [&] { return visible<QTableView>() != nullptr; });
        if (auto* filter = visible<QLineEdit>("Filter albums")) {
            step("filter albums", [&] { filter->setText("Album 12"); }, done);
            step("clear the filter", [&] { filter->clear(); }, done);
        }
        step(
            "missing or limited tab", [&] { model_.setTab(ResultTab::notSaved); },
            [&] { return visible<QTableView>() != nullptr; });
        if (auto* table = visible<QTableView>()) {
            fmt::print("  {} rows\n", table->model()->rowCount());
            for (int column = 0; column < table->model()->columnCount(); ++column) {
                if (table->isColumnHidden(column)) {
                    continue;
                }
                bool isSorted = false;
                const auto told = QObject::connect(
                    table->model(), &QAbstractItemModel::layoutChanged, &window_, [&] { isSorted = true; });
                const QDeadlineTimer most(std::chrono::seconds(10));
                step(
                    fmt::format("sort by column {}", column),
                    [&] { table->horizontalHeader()->setSortIndicator(column, Qt::DescendingOrder); },
                    [&] { return isSorted || most.hasExpired(); });
                QObject::disconnect(told);
            }
        }
        step("compare tab", [&] { model_.setTab(ResultTab::compare); }, done);
        step(
            "compare with itself", [&] { model_.compare(library); },
            [&] { return model_.comparison() != nullptr; });
        step("overview tab", [&] { model_.setTab(ResultTab::overview); }, done);
        step("open the export sheet", [&] { model_.openExport(); }, done);
        for (auto* box : window_.findChildren<QCheckBox*>()) {
            if (box->isVisible()) {
                step(
                    "tick " + box->text().left(24).toStdString(), [&] { box->click(); },
                    [&] { return !model_.isPlanning(); });
            }
        }
    }

private:
    static void settle()
    {
        const QDeadlineTimer end(std::chrono::milliseconds(150));
        while (!end.hasExpired()) {
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        }
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
};

void writeSample(const DiskPath& place, std::size_t assets, std::size_t albums)
{
    auto plan = sample::drawPlan(assets, 1);
    plan.pictureWidth = 8;
    plan.pictureHeight = 6;
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
    auto environment = realEnvironment(services);
    environment.finder.find = [](const SharedCancelToken&) { return FindResult{}; };
    const auto library = environment.finder.inspect(place).value();
    const auto timers = std::make_shared<ContinuousTimers>(services.clock);
    QSettings settings(
        QString::fromStdString((services.temporary->temporaryDirectory() / "windows.ini").native()),
        QSettings::IniFormat);
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
        Steps(model, window).run(library);
    }
    std::fflush(nullptr);
    services = {};
    _exit(0); // a thread may still drop a large result
}

} // namespace
} // namespace vantorel

int main(int argc, char** argv) { return vantorel::run(argc, argv); }
