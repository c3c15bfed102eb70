#include "app/SessionEnd.h"

#include <memory>
#include <optional>

#include <QtCore/qeventloop.h>

namespace vantorel {

void answerSessionEnd(const Desktop::Requests& requests, const EndingSession& session)
{
    if (!requests.isSaving || !requests.isSaving()) {
        return;
    }
    struct Answer {
        QEventLoop loop{};
        std::optional<bool> ends{};
    };
    const auto answer = std::make_shared<Answer>(); // the call may come after the loop was left
    const bool mayAsk = session.allowsInteraction();
    if (!mayAsk) {
        requests.endSoon(); // and the call below shows no question
    }
    requests.quit([answer](bool ends) {
        answer->ends = ends;
        answer->loop.quit();
    });
    if (!answer->ends) {
        answer->loop.exec();
    }
    if (mayAsk) {
        if (answer->ends == false) {
            session.cancel();
        }
        session.release();
    }
}

} // namespace vantorel
