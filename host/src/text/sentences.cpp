#include <vorhost/ascii.h>
#include <vorhost/sentences.h>

#include <algorithm>

namespace vor {
namespace {

constexpr size_t shortest_beginning = 3;

// Letters left out, added, changed or swapped with their neighbour on the way from one word to the other.
size_t slips_between(const std::string &one, const std::string &other) {
    std::vector<size_t> older;
    std::vector<size_t> before(other.size() + 1);
    for (size_t j = 0; j <= other.size(); ++j)
        before[j] = j;
    for (size_t i = 1; i <= one.size(); ++i) {
        std::vector<size_t> now(other.size() + 1, i);
        for (size_t j = 1; j <= other.size(); ++j) {
            now[j] = std::min({before[j] + 1, now[j - 1] + 1, before[j - 1] + (one[i - 1] != other[j - 1] ? 1 : 0)});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                now[j] = std::min(now[j], older[j - 2] + 1);
        }
        older = std::move(before);
        before = std::move(now);
    }
    return before.back();
}

} // namespace

std::string did_you_mean(std::string_view word, const std::vector<std::string> &names) {
    constexpr size_t longest = 100; // what is longer is no slip of the fingers
    const std::string given = lower_case(word.substr(0, longest));
    size_t fewest = given.size() < 3 ? 1 : std::max<size_t>(1, given.size() / 3) + 1; // and one more
    const std::string *nearest = nullptr;
    for (const std::string &name : names) {
        const std::string lower = lower_case(name);
        const bool begins = given.size() >= shortest_beginning && lower.starts_with(given);
        if (!begins && std::max(lower.size(), given.size()) - std::min(lower.size(), given.size()) >= fewest)
            continue;
        const size_t slips = begins && lower != given ? 1 : slips_between(given, lower);
        if (slips < fewest) {
            fewest = slips;
            nearest = &name;
        }
    }
    return nearest ? " Did you mean " + *nearest + "?" : std::string();
}

} // namespace vor
