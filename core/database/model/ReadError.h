#pragma once

#include "base/Enum.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace vantorel {

/// Why no snapshot could be made. Thrown by the library reader and the scanner, by nothing else.
class ReadError : public std::exception {
public:
    enum class Kind {
        notFound,
        accessDenied,
        unknownSchema,
        volumeGone,
        stalled,
        notEnoughTemporarySpace,
        copyFailed,
        databaseUnreadable,
        readTookTooLong,
        legacyLibrary,
        cancelled,
        databaseNotAnswering,
    };

    static ReadError notFound(const std::string& path);
    static ReadError accessDenied();
    static ReadError unknownSchema(const std::string& reason);
    static ReadError volumeGone(const std::string& diskName);
    static ReadError stalled(const std::string& diskName);
    static ReadError notEnoughTemporarySpace(std::int64_t neededBytes, std::int64_t freeBytes);
    static ReadError copyFailed(const std::string& reason);
    static ReadError databaseUnreadable(const std::string& reason);
    static ReadError readTookTooLong(const std::string& what);
    static ReadError legacyLibrary();
    static ReadError cancelled();
    static ReadError databaseNotAnswering();

    Kind kind() const { return kind_; }
    /// The sentence that is shown; empty for `cancelled`.
    const std::string& message() const { return message_; }
    const char* what() const noexcept override { return message_.c_str(); }

    bool operator==(const ReadError& other) const
    {
        return kind_ == other.kind_ && message_ == other.message_;
    }

private:
    ReadError(Kind kind, std::string message)
        : kind_(kind)
        , message_(std::move(message))
    {
    }

    Kind kind_;
    std::string message_;
};

inline constexpr EnumNames<ReadError::Kind, 12> readErrorNames{{
    {ReadError::Kind::notFound, "notFound"},
    {ReadError::Kind::accessDenied, "accessDenied"},
    {ReadError::Kind::unknownSchema, "unknownSchema"},
    {ReadError::Kind::volumeGone, "volumeGone"},
    {ReadError::Kind::stalled, "stalled"},
    {ReadError::Kind::notEnoughTemporarySpace, "notEnoughTemporarySpace"},
    {ReadError::Kind::copyFailed, "copyFailed"},
    {ReadError::Kind::databaseUnreadable, "databaseUnreadable"},
    {ReadError::Kind::readTookTooLong, "readTookTooLong"},
    {ReadError::Kind::legacyLibrary, "legacyLibrary"},
    {ReadError::Kind::cancelled, "cancelled"},
    {ReadError::Kind::databaseNotAnswering, "databaseNotAnswering"},
}};
static_assert(inEnumOrder(readErrorNames));

} // namespace vantorel
