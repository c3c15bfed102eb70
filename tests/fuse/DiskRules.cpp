#include "fuse/DiskRules.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>

#include <fnmatch.h>

namespace vantorel::fuse {

namespace {

using Action = DiskRule::Action;

template <typename Number>
bool readNumber(std::string_view text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

std::string_view takeWord(std::string_view& line)
{
    const auto end = std::min(line.find(' '), line.size());
    const auto word = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    return word;
}

bool readAction(std::string_view word, DiskRule& rule)
{
    constexpr EnumNames<Action, 8> names{{
        {Action::hang, "hang"},
        {Action::delay, "delay"},
        {Action::error, "error"},
        {Action::room, "room"},
        {Action::gone, "gone"},
        {Action::silent, "silent"},
        {Action::readonly, "readonly"},
        {Action::count, "count"},
    }};
    static_assert(inEnumOrder(names));
    const auto equals = std::min(word.find('='), word.size());
    const auto action = valueIn(names, word.substr(0, equals));
    if (!action) {
        return false;
    }
    rule.action = *action;
    const bool hasNumber =
        rule.action == Action::delay || rule.action == Action::error || rule.action == Action::room;
    return hasNumber == (equals < word.size())
        && (!hasNumber || readNumber(word.substr(equals + 1), rule.number));
}

bool readOperation(std::string_view word, DiskRule& rule)
{
    rule.anyChange = word == "change";
    rule.operation = valueIn(operationNames, word);
    return rule.anyChange || rule.operation || word == "*";
}

bool readRange(std::string_view text, DiskRule& rule)
{
    const auto plus = text.find('+');
    std::int64_t length = 0;
    if (plus == std::string_view::npos || !readNumber(text.substr(0, plus), rule.offset)
        || !readNumber(text.substr(plus + 1), length)) {
        return false;
    }
    rule.length = length;
    return true;
}

} // namespace

std::optional<DiskRule> parseRule(std::string_view line)
{
    DiskRule rule;
    if (!readAction(takeWord(line), rule) || !readOperation(takeWord(line), rule)) {
        return std::nullopt;
    }
    while (true) {
        bool isWhole = true;
        if (line.starts_with("from=")) {
            isWhole = readNumber(takeWord(line).substr(5), rule.from);
        } else if (line.starts_with("times=")) {
            isWhole = readNumber(takeWord(line).substr(6), rule.times);
        } else if (line.starts_with("at=")) {
            isWhole = readRange(takeWord(line).substr(3), rule);
        } else {
            rule.pattern = line;
            return line.empty() ? std::nullopt : std::optional(std::move(rule));
        }
        if (!isWhole) {
            return std::nullopt;
        }
    }
}

void DiskRules::replace(std::vector<DiskRule> rules)
{
    const std::scoped_lock held(lock_);
    rules_ = std::move(rules);
    isGone_ = isSilent_ = isReadOnly_ = false;
    for (auto& hits : counts_.hits) {
        hits = 0;
    }
    ++generation_;
    ++counts_.rulesRead;
    changed_.notify_all();
}

void DiskRules::end()
{
    const std::scoped_lock held(lock_);
    hasEnded_ = true;
    changed_.notify_all();
}

bool DiskRules::fits(const DiskRule& rule, const DiskRequest& request) const
{
    if ((rule.anyChange && !isChange(request.operation))
        || (rule.operation && rule.operation != request.operation)) {
        return false;
    }
    if (rule.length
        && (request.offset >= rule.offset + *rule.length || rule.offset >= request.offset + request.length)) {
        return false;
    }
    const auto isMatch = [&rule](std::string_view path) {
        return !path.empty() && fnmatch(rule.pattern.c_str(), std::string(path).c_str(), 0) == 0;
    };
    return isMatch(request.path) || isMatch(request.otherPath);
}

int DiskRules::apply(std::unique_lock<std::mutex>& held, std::size_t index, DiskRequest& request)
{
    DiskRule& rule = rules_[index];
    const auto generation = generation_;
    switch (rule.action) {
    case Action::hang:
        changed_.wait(held, [&] { return hasEnded_ || generation_ != generation; });
        return 0;
    case Action::delay:
        changed_.wait_for(held, std::chrono::milliseconds(rule.number),
            [&] { return hasEnded_ || generation_ != generation; });
        return 0;
    case Action::error:
        return static_cast<int>(rule.number);
    case Action::room:
        if (request.length > 0 && rule.number <= 0) {
            return ENOSPC;
        }
        request.length = std::min(request.length, rule.number);
        rule.number -= request.length;
        return 0;
    case Action::gone:
        isGone_ = true;
        return 0;
    case Action::silent:
        isSilent_ = true;
        return 0;
    case Action::readonly:
        isReadOnly_ = true;
        return 0;
    case Action::count:
        return 0;
    }
    return 0;
}

int DiskRules::meet(DiskRequest& request)
{
    ++counts_.operations[static_cast<std::size_t>(request.operation)];
    std::unique_lock held(lock_);
    const auto generation = generation_;
    int error = 0;
    for (std::size_t i = 0; error == 0 && generation_ == generation && i < rules_.size(); ++i) {
        if (!fits(rules_[i], request)) {
            continue;
        }
        const auto number = ++rules_[i].met;
        if (number >= rules_[i].from && number - rules_[i].from < rules_[i].times) {
            ++counts_.hits.at(i);
            error = apply(held, i, request);
        }
    }
    if (isSilent_) {
        changed_.wait(held, [&] { return hasEnded_ || !isSilent_; });
    }
    if (isGone_ || hasEnded_) {
        return ENXIO;
    }
    if (isReadOnly_ && isChange(request.operation)) {
        return EROFS;
    }
    return error;
}

} // namespace vantorel::fuse
