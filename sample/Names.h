#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The imaginary family whose library it is, and where they have been. Any likeness to people is chance.
namespace vantorel::sample::names {

struct Place {
    std::string_view name;
    double latitude;
    double longitude;
    std::int64_t offset; ///< Seconds east of UTC.
};

inline constexpr std::array<Place, 12> places{{
    {"Larkhaven", 53.412, -4.118, 3600},
    {"Port Ysolde", 43.297, 5.361, 7200},
    {"Mount Emberly", 46.551, 8.012, 7200},
    {"Lake Tarrow", -44.683, 168.842, 43200},
    {"Seven Wells", 28.613, 77.209, 19800},  // Half an hour off.
    {"Kettle Bay", 47.561, -52.712, -9000},  // Also, to the west.
    {"Old Mirrin", -34.921, 138.602, 34200}, // And beyond the equator.
    {"Saltmarsh End", 54.097, 8.951, 7200},
    {"Quillhollow", 44.412, -68.203, -14400},
    {"Thornwick", 55.952, -3.189, 0},
    {"Isle of Merrow", 38.722, -27.221, -3600},
    {"Dunvale Station", 35.681, 139.767, 32400},
}};

inline constexpr std::array<std::string_view, 14> occasions{"Summer in", "A weekend in", "Christmas in",
    "The hike near", "Grandma's birthday,", "Rainy days in", "School trip to", "The wedding in", "Picnic at",
    "First snow in", "Sailing off", "Market day in", "The long way to", "Camping near"};

inline constexpr std::array<std::string_view, 24> captions{"The light was like this for five minutes only.",
    "Pippa counted eleven boats.", "We should have brought the other coat.", "Nobody wanted to go home.",
    "Look at the size of that cloud!", "The path behind the mill.",
    "Odran says it is the best one of the day.", "Before the rain came.", "After the rain.",
    "Ilse found the bench from 1974.", "Too windy for hats.", "The dog is somewhere on the left.",
    "Waiting for the ferry.", "Breakfast was worth the climb.", "Same place as last year, other shoes.",
    "The moon came up while we packed.", "You can nearly hear the bees.", "Tamsin asleep, as usual.",
    "All windows lit.", "The last day.", "Low tide.", "High tide.", "Found on the way back.",
    "One for the kitchen wall."};

inline constexpr std::array<std::string_view, 16> titles{"Morning", "The harbour", "Looking back", "Up there",
    "Blue hour", "Quiet", "The old tree", "Almost there", "Sunday", "By the water", "The view", "Lights",
    "Golden", "Still there", "A good day", "Westward"};

inline constexpr std::array<std::string_view, 18> keywords{"family", "holiday", "mountains", "sea", "city",
    "night", "flowers", "winter", "print this", "Großeltern", "été", "to sort", "Garden", "birthday",
    "夏休み", "best of", "R&D <wall>", "boats"};

struct Person {
    std::string_view fullName;
    std::string_view displayName;
    int mergedInto; ///< Index, or -1.
};

inline constexpr std::array<Person, 11> people{{
    {"Tamsin Merrowby", "Tamsin Merrowby", -1},
    {"Odran Merrowby", "Odran Merrowby", -1},
    {"Pippa Merrowby", "Pippa Merrowby", -1},
    {"Grandma Ilse", "Grandma Ilse", -1},
    {"Barnaby Quill", "Barnaby Quill", -1},
    {"Pip", "Pip", 2},    // Found to be Pippa.
    {"", "", -1},         // Found by the program, never named.
    {"Alex", "Alex", -1}, // Two different people
    {"Alex", "Alex", -1}, // of one name.
    {"", "", -1},
    {"Zoë Ångström", "Zoë Ångström", -1},
}};

} // namespace vantorel::sample::names
