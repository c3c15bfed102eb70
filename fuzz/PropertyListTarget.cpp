// Binary property lists of a library.

#include "FuzzTarget.h"

#include "base/BinaryPlist.h"
#include "base/Text.h"

namespace vantorel::fuzz {

namespace {

/// Goes through a list as its readers do: never deeper than they do, and only so many objects.
class Look {
public:
    explicit Look(const BinaryPlist& list)
        : list_(list)
    {
    }

    void at(BinaryPlist::Object object, int depth)
    {
        if (depth > 6 || ++looks_ > 2'000) {
            return;
        }
        list_.integer(object);
        list_.real(object);
        list_.boolean(object);
        list_.date(object);
        if (const auto text = list_.string(object)) {
            require(isValidUtf8(*text), "texts are UTF-8");
        }
        list_.data(object);
        list_.value(object, "Volumes");
        const auto entries = list_.entries(object);
        require(!entries || list_.isDictionary(object), "only dictionaries have entries");
        if (entries) {
            for (const auto& entry : *entries) {
                at(entry.value, depth + 1);
            }
        }
        if (const auto elements = list_.elements(object)) {
            for (const auto element : *elements) {
                at(element, depth + 1);
            }
        }
        list_.visitEntries(object, [&](std::string_view key, BinaryPlist::Object) { return key != "stop"; });
        list_.visitElements(object, [n = 0](BinaryPlist::Object) mutable { return ++n < 100; });
    }

private:
    const BinaryPlist& list_;
    int looks_ = 0;
};

} // namespace

void runTarget(std::string_view input)
{
    if (const auto list = BinaryPlist::open(input)) {
        Look look(*list);
        look.at(list->top(), 0);
        for (std::uint64_t i = 0; i < 64; ++i) {
            look.at({i}, 5);
        }
    }
}

} // namespace vantorel::fuzz
