// The client's decoders of replies. What they take is said again by the server's encoders, and then
// has to be what another parser reads in the input.

#include "api/records.h"
#include "fuzz.h"
#include "records/wire.h"

#include <boost/json.hpp>

namespace kivolo {
namespace {

using fuzz::require;
using Keys = std::initializer_list<std::string_view>;
namespace json = boost::json;
namespace wire = server::wire;

/// The members of an object under those keys that are there.
json::object picked(const json::value &value, Keys keys)
{
    json::object found;
    for (const std::string_view key : keys) {
        const json::value *member = value.as_object().if_contains(key);
        if (member && !member->is_null())
            found[key] = *member;
    }
    return found;
}

/// Without "sealed", which says more than the server's encoder can say again.
json::object beamIn(const json::value &value)
{
    return picked(value, {"id", "from_member", "type", "body", "created_at", "from_handle",
                          "from_emoji", "effect", "open_at"});
}

json::object memberIn(const json::value &value)
{
    return picked(value, {"id", "handle", "emoji"});
}

/// The members of an object under those keys, and its array with a part of each element.
json::object with(const json::value &value, Keys keys, std::string_view array,
                  json::object (*element)(const json::value &))
{
    json::object object = picked(value, keys);
    json::array &elements = object[array].emplace_array();
    for (const json::value &one : value.at(array).as_array())
        elements.push_back(element(one));
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
using Pair = std::pair<std::string, json::object>;

Pair again(const Beam &beam, const json::value &value)
{
    return {wire::beam(sent(beam)), beamIn(value)};
}

Pair again(const BeamsResponse &reply, const json::value &value)
{
    return {wire::poll({sent(reply.beams), reply.server_time}),
            with(value, {"server_time"}, "beams", beamIn)};
}

Pair again(const HistoryResponse &reply, const json::value &value)
{
    return {wire::history(sent(reply.beams)), with(value, {}, "beams", beamIn)};
}

Pair again(const JoinResponse &reply, const json::value &value)
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
    return {wire::joined(membership),
            with(value, {"circle_id", "member_id", "code", "max_seats"}, "members", memberIn)};
}

Pair again(const CreateResponse &reply, const json::value &value)
{
    server::Founding founding;
    founding.key = reply.circle_id.toStdString();
    founding.circle.code = reply.code.toStdString();
    founding.circle.maxSeats = reply.max_seats;
    return {wire::created(founding), picked(value, {"circle_id", "code", "max_seats"})};
}

/// Tries to decode the input as that record.
template<typename Record>
void tryRecord(const QByteArray &bytes, const json::value &tree)
{
    Record record;
    try {
        record = Record::decode(bytes);
    } catch (const DecodingError &failure) {
        require(!failure.localizedDescription().isEmpty(), "a failure has a sentence");
        return;
    }
    require(tree.is_object(), "two parsers agree on what is JSON");
    if constexpr (requires { again(record, tree); }) {
        const auto [said, expected] = again(record, tree);
        require(json::parse(said) == expected, "a record is what stands there");
    }
}

template<typename... Records>
void tryAll(const QByteArray &bytes)
{
    json::parse_options options;
    options.max_depth = 1024;
    std::string_view text(bytes.data(), static_cast<std::size_t>(bytes.size()));
    text.remove_prefix(text.starts_with("\xef\xbb\xbf") ? 3 : 0);
    boost::system::error_code error;
    const json::value tree = json::parse(text, error, {}, options);
    (tryRecord<Records>(bytes, tree), ...);
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
