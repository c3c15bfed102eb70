#include "database/model/DamageSummary.h"

namespace vantorel {

std::optional<std::string> severityLine(DamageReport::Severity severity)
{
    using Severity = DamageReport::Severity;
    const auto sentence = severitySentence(severity);
    if (!sentence) {
        return std::nullopt;
    }
    const bool saysWhatHelps = severity == Severity::salvaged || severity == Severity::databaseLost;
    return std::string(*sentence) + (saysWhatHelps ? " What was found can still be saved." : "");
}

} // namespace vantorel
