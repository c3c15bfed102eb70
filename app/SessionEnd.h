#pragma once

#include "app/model/Desktop.h"

#include <functional>

namespace vantorel {

/// A session that wants to end and waits for this program.
struct EndingSession {
    std::function<bool()> allowsInteraction{}; ///< Whether the user may be asked; then `release` must follow.
    std::function<void()> cancel{};            ///< The session goes on.
    std::function<void()> release{};
};

/// Answers by returning: the session ends then, unless it was cancelled. While an export runs the user is
/// asked and windows go on working meanwhile; where nobody may be asked, the export is stopped at its safe
/// point.
void answerSessionEnd(const Desktop::Requests& requests, const EndingSession& session);

} // namespace vantorel
