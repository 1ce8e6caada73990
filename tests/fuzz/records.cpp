// The client's decoders of replies. What they take is said again by the server's encoders, and then
// has to be what another parser reads in the input.

#include "api/records.h"
#include "fuzz.h"
#include "records/wire.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace kivolo {
namespace {

using fuzz::require;
using Keys = std::initializer_list<QLatin1String>;
namespace wire = server::wire;

/// The members of an object under those keys that are there.
QJsonObject picked(const QJsonValue &value, Keys keys)
{
    const QJsonObject object = value.toObject();
    QJsonObject found;
    for (const QLatin1String key : keys) {
        if (!object[key].isNull() && !object[key].isUndefined())
            found[key] = object[key];
    }
    return found;
}

/// Without "sealed", which says more than the server's encoder can say again.
QJsonObject beamIn(const QJsonValue &value)
{
    static const Keys keys = {
        QLatin1String("id"),         QLatin1String("from_member"), QLatin1String("type"),
        QLatin1String("body"),       QLatin1String("created_at"),  QLatin1String("from_handle"),
        QLatin1String("from_emoji"), QLatin1String("effect"),      QLatin1String("open_at")};
    return picked(value, keys);
}

QJsonObject memberIn(const QJsonValue &value)
{
    return picked(value, {QLatin1String("id"), QLatin1String("handle"), QLatin1String("emoji")});
}

/// The members of an object under those keys, and its array with a part of each element.
QJsonObject with(const QJsonValue &value, Keys keys, QLatin1String array,
                 QJsonObject (*element)(const QJsonValue &))
{
    QJsonObject object = picked(value, keys);
    QJsonArray elements;
    for (const QJsonValue &one : value[array].toArray())
        elements.append(element(one));
    object[array] = elements;
    return object;
}

server::Beam sent(const Beam &beam)
{
    const auto effect = beam.effect ? std::optional(beam.effect->toStdString()) : std::nullopt;
    return {beam.id.toStdString(),
            beam.from_member.toStdString(),
            beam.type.toStdString(),
            beam.body.toStdString(),
            beam.created_at,
            beam.from_handle.toStdString(),
            beam.from_emoji.toStdString(),
            effect,
            beam.open_at,
            false};
}

std::vector<server::Beam> sent(const QList<Beam> &beams)
{
    std::vector<server::Beam> all;
    for (const Beam &beam : beams)
        all.push_back(sent(beam));
    return all;
}

// Each gives what the server says and what it has to say.
using Pair = std::pair<std::string, QJsonObject>;

Pair again(const Beam &beam, const QJsonValue &value)
{
    return {wire::beam(sent(beam)), beamIn(value)};
}

Pair again(const BeamsResponse &reply, const QJsonValue &value)
{
    return {wire::poll({sent(reply.beams), reply.server_time}),
            with(value, {QLatin1String("server_time")}, QLatin1String("beams"), beamIn)};
}

Pair again(const HistoryResponse &reply, const QJsonValue &value)
{
    return {wire::history(sent(reply.beams)), with(value, {}, QLatin1String("beams"), beamIn)};
}

Pair again(const JoinResponse &reply, const QJsonValue &value)
{
    server::Membership membership;
    membership.seat.key = reply.circle_id.toStdString();
    membership.seat.member.id = reply.member_id.toStdString();
    membership.seat.circle.code = reply.code.toStdString();
    membership.seat.circle.maxSeats = reply.max_seats;
    for (const Member &member : reply.members) {
        server::Member &one = membership.members.emplace_back();
        one.id = member.id.toStdString();
        one.handle = member.handle.toStdString();
        one.emoji = member.emoji.toStdString();
    }
    const MeResponse me = MeResponse::decode(QByteArray::fromStdString(wire::status(membership)));
    require(me.joined && me.circle_id == reply.circle_id && me.max_seats == reply.max_seats &&
                me.members->size() == reply.members.size(),
            "a status says what the join said");
    return {wire::joined(membership), with(value,
                                           {QLatin1String("circle_id"), QLatin1String("member_id"),
                                            QLatin1String("code"), QLatin1String("max_seats")},
                                           QLatin1String("members"), memberIn)};
}

Pair again(const CreateResponse &reply, const QJsonValue &value)
{
    server::Founding founding;
    founding.key = reply.circle_id.toStdString();
    founding.circle.code = reply.code.toStdString();
    founding.circle.maxSeats = reply.max_seats;
    return {wire::created(founding),
            picked(value, {QLatin1String("circle_id"), QLatin1String("code"),
                           QLatin1String("max_seats")})};
}

/// Tries to decode the input as that record.
template<typename Record>
void tryRecord(const QByteArray &bytes, const QJsonDocument &document)
{
    Record record;
    try {
        record = Record::decode(bytes);
    } catch (const DecodingError &failure) {
        require(!failure.localizedDescription().isEmpty(), "a failure has a sentence");
        return;
    }
    require(document.isObject(), "two parsers agree on what is JSON");
    if constexpr (requires { again(record, {}); }) {
        const auto [said, expected] = again(record, document.object());
        const QJsonDocument told = QJsonDocument::fromJson(QByteArray::fromStdString(said));
        require(told.object() == expected, "a record is what stands there");
    }
}

template<typename... Records>
void tryAll(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    (tryRecord<Records>(bytes, document), ...);
}

} // namespace
} // namespace kivolo

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kivolo;
    tryAll<Beam, BeamsResponse, HistoryResponse, JoinResponse, CreateResponse, MeResponse,
           OkResponse, VersionInfo>(
        {reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)});
    return 0;
}
