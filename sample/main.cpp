#include "sample/Damage.h"
#include "sample/SampleLibrary.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace {

using vantorel::sample::Damage;

/// The exit statuses of Vantorel's other programs.
constexpr int wrongUsage = 2;
constexpr int notWritten = 3;
/// Up to how many items the pictures are as large as on a screen, unless told otherwise.
constexpr std::size_t fewItems = 500;
constexpr std::size_t screenWidth = 800;
/// From how many items on pictures share a few files, unless told otherwise.
constexpr std::size_t manyItems = 5'000;

/// What stands below the options.
std::string damageHelp()
{
    std::string text = "KIND of --damage is one of these; several are done in this order:\n";
    for (const auto& [kind, name] : vantorel::sample::damageNames) {
        text += fmt::format("  {:<19} {}\n", name, vantorel::nameIn(vantorel::sample::damageTexts, kind));
    }
    return text
        + "Damage of pages that the \"-wal\" file holds too would not be seen: where most are, it is merged "
          "into the\ndatabase first. What nobody may read or open, the administrator still may.\n";
}

std::map<std::string, Damage> damageByName()
{
    std::map<std::string, Damage> byName;
    for (const auto& [kind, name] : vantorel::sample::damageNames) {
        byName.emplace(name, kind);
    }
    return byName;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app(
        "Writes a photo library as Photos would have left it, with pictures that are drawn for it: for "
        "trying "
        "Vantorel, for its tests and its benchmarks. The same seed gives the same library, byte for byte.",
        "vantorel-sample");
    std::string folder;
    std::size_t assets = 120;
    std::size_t pictureWidth = 0;
    bool noJournals = false;
    bool noLog = false;
    bool hardLinks = false;
    bool noHardLinks = false;
    std::vector<Damage> damage;
    vantorel::sample::WriteOptions options;
    app.add_option("FOLDER", folder, "The library to make, \"Name.photoslibrary\"; must not be there yet")
        ->required();
    app.add_option("--generation", options.generation,
           "Whose library: 5 (macOS 10.15), 6 (11), 7 (12), 8 (13), 9 (14), 10 (15), 11 (26) or 12 (27)")
        ->check(CLI::Range(5, 12))
        ->capture_default_str();
    app.add_option("--assets", assets,
           "How many photos and videos; from 40 on there is at least one of each kind, above 5,000 they are "
           "tiny")
        ->check(CLI::Range(std::size_t{0}, std::size_t{5'000'000}))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "A number that the library is drawn from")->capture_default_str();
    app.add_option("--picture-width", pictureWidth,
           "Width of the pictures in points (height is three quarters of it)")
        ->check(CLI::Range(std::size_t{8}, std::size_t{8'000}));
    app.add_flag("--no-journals", noJournals, "Without the change journals in resources/journals");
    app.add_flag("--no-log", noLog, "All changes merged into the database, no \"-wal\" file beside it");
    auto* linked = app.add_flag("--hard-links", hardLinks,
        "Files share a few hundred contents (as above 5,000 photos without being told)");
    app.add_flag("--no-hard-links", noHardLinks, "Every file of its own, whatever their number")
        ->excludes(linked);
    app.add_option("--damage", damage, "What is wrong with the library; may be given several times")
        ->expected(1)
        ->take_all()
        ->transform(CLI::CheckedTransformer(damageByName()).description(""))
        ->type_name("KIND");
    app.footer(damageHelp());
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& mistake) {
        return app.exit(mistake) == 0 ? 0 : wrongUsage; // Help is no mistake.
    }

    options.withJournals = !noJournals;
    options.withLog = !noLog;
    options.hardLinkedFiles = hardLinks || (assets > manyItems && !noHardLinks);
    try {
        vantorel::sample::SamplePlan plan = vantorel::sample::drawPlan(assets, options.seed);
        if (pictureWidth == 0 && assets <= fewItems) {
            pictureWidth = screenWidth;
        }
        if (pictureWidth != 0) {
            plan.pictureWidth = static_cast<int>(pictureWidth);
            plan.pictureHeight = static_cast<int>(pictureWidth * 3 / 4);
        }
        vantorel::sample::writeLibrary(plan, options, folder);
        vantorel::sample::damageLibrary(folder, damage, options.seed);
        fmt::print("{} with {} photos and videos and {} albums and folders.\n", folder, plan.items.size(),
            plan.albums.size());
        return 0;
    } catch (const std::exception& failure) {
        fmt::print(stderr, "{}\n", failure.what());
        return notWritten;
    }
}
