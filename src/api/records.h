// The records that travel on the wire, and their decoders.
//
// A record is a JSON object whose keys are the field names as they stand here. Integers are signed
// 64-bit, written in digits alone, times whole seconds since 1970 (UTC). A required field must be
// present and not null; an optional one that is missing or null is absent; keys not listed are
// ignored.
#pragma once

#include "platform/foundation/localized_error.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace kivolo {

/// A reply that is not the record it should be.
class DecodingError : public LocalizedError
{
public:
    using LocalizedError::LocalizedError;
};

/// One message of a circle, identified by its exact `id`.
struct Beam
{
    static constexpr QLatin1String text{"text"};
    static constexpr QLatin1String doodle{"doodle"};
    static constexpr QLatin1String shake{"shake"};

    QString id;
    QString from_member;           ///< `Member::id` of the sender.
    QString type;                  ///< `doodle` for a picture; every other value is text.
    QString body;                  ///< The text, or a PNG data URL.
    qint64 created_at = 0;         ///< When the server accepted it.
    QString from_handle;           ///< The sender's display name at the time of sending.
    QString from_emoji;            ///< The sender's emoji at the time of sending.
    std::optional<QString> effect; ///< `shake` marks a buzz; any other value counts as absent.
    std::optional<qint64> open_at; ///< On a time capsule: from when it may be read.
    std::optional<qint64> sealed;  ///< 1 marks a capsule that is still sealed.

    bool isSealed() const { return sealed == 1; }
    bool isBuzz() const { return effect == shake; }
    bool isDoodle() const { return type == doodle; }

    static Beam decode(const QByteArray &json);
};

/// One member of a circle.
struct Member
{
    QString id;
    QString handle;
    QString emoji;
    std::optional<qint64> last_seen;

    bool operator==(const Member &) const = default;
};
size_t qHash(const Member &member, size_t seed = 0) noexcept;

/// The latest release, as the landing site publishes it.
struct VersionInfo
{
    QString version; ///< Dotted numbers, such as 1.4.2.
    QString url;     ///< Where it can be downloaded.
    std::optional<QString> notes;

    static VersionInfo decode(const QByteArray &json);

    bool operator==(const VersionInfo &) const = default;
};

/// The device's status.
struct MeResponse
{
    bool joined = false;
    std::optional<QString> circle_id;
    std::optional<QString> code;
    std::optional<QString> member_id;
    std::optional<QString> handle;
    std::optional<qint64> max_seats;
    std::optional<QList<Member>> members;

    static MeResponse decode(const QByteArray &json);
};

/// A poll's answer.
struct BeamsResponse
{
    QList<Beam> beams;
    qint64 server_time = 0; ///< The server's clock; the next poll's `since` rests on it.

    static BeamsResponse decode(const QByteArray &json);
};

/// The circle's latest beams, oldest first.
struct HistoryResponse
{
    QList<Beam> beams;

    static HistoryResponse decode(const QByteArray &json);
};

/// The answer to a beam that was sent.
struct OkResponse
{
    bool ok = false;
    std::optional<QString> id;
    std::optional<qint64> created_at;

    static OkResponse decode(const QByteArray &json);
};

/// A new circle.
struct CreateResponse
{
    QString circle_id;
    QString code;
    qint64 max_seats = 0;

    static CreateResponse decode(const QByteArray &json);
};

/// A seat in a circle.
struct JoinResponse
{
    QString circle_id;
    QString member_id;
    QString code;
    qint64 max_seats = 0;
    QList<Member> members;

    static JoinResponse decode(const QByteArray &json);
};

// Each decode() above turns the bytes of a reply body into the record or throws a DecodingError.
// They are pure and may run on any thread.

} // namespace kivolo
