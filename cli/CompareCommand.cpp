#include "cli/Commands.h"

#include "base/Text.h"
#include "cli/CompareSummary.h"
#include "cli/JsonText.h"
#include "compare/LibraryComparer.h"

#include <fmt/format.h>

#include <cstdio>

namespace vantorel::cli {

namespace {

/// The sentences of a failed scan speak of "the library": with two of them, this says which.
std::expected<std::shared_ptr<const LibraryScanResult>, int> scanOneOfTwo(
    const Context& context, const std::string& library, std::string_view which)
{
    auto scan = scanWithProgress(context, library, which);
    if (!scan && scan.error() == nothingStarted) {
        fmt::print(stderr, "This was the library \"{}\".\n", displayText(pathArgument(library).native()));
    }
    return scan;
}

} // namespace

int runCompare(const Context& context, const CompareArguments& arguments)
{
    const auto source = scanOneOfTwo(context, arguments.library, "1 of 2: ");
    if (!source) {
        return source.error();
    }
    const auto other = scanOneOfTwo(context, arguments.other, "2 of 2: ");
    if (!other) {
        return other.error();
    }
    keepUntilTheEnd(*source);
    keepUntilTheEnd(*other);
    const LibraryComparison comparison = LibraryComparer::compare(**source, **other);
    if (context.options.json) {
        if (!printJson(comparison)) {
            fmt::print(stderr, "The result could not be written to standard output.\n");
            return nothingStarted;
        }
    } else {
        const auto list = arguments.list ? ItemList::everyProblem : ItemList::countsOnly;
        const std::string text = compareSummary({.source = **source, .other = **other}, comparison, list);
        std::fputs(text.c_str(), stdout);
    }
    return isWhole(**source) && isWhole(**other) ? done : notComplete;
}

} // namespace vantorel::cli
