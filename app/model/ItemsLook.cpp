#include "app/model/ItemsLook.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace vantorel {

std::string savedForm(const ItemsLook& look)
{
    return nlohmann::json{
        {"albumsAsGrid", look.albumsAsGrid},
        {"limitedAsGrid", look.limitedAsGrid},
        {"tile", look.tile},
        {"showsPreview", look.showsPreview},
    }
        .dump();
}

ItemsLook savedItemsLook(std::string_view saved)
{
    ItemsLook look;
    const auto json = nlohmann::json::parse(saved, nullptr, false);
    if (!json.is_object()) {
        return look;
    }
    const auto flag = [&](const char* name, bool& into) {
        if (const auto found = json.find(name); found != json.end() && found->is_boolean()) {
            into = found->get<bool>();
        }
    };
    flag("albumsAsGrid", look.albumsAsGrid);
    flag("limitedAsGrid", look.limitedAsGrid);
    flag("showsPreview", look.showsPreview);
    if (const auto found = json.find("tile"); found != json.end() && found->is_number_integer()) {
        look.tile = static_cast<int>(
            std::clamp<std::int64_t>(found->get<std::int64_t>(), ItemsLook::leastTile, ItemsLook::mostTile));
    }
    return look;
}

} // namespace vantorel
