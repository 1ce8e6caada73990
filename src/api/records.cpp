#include "api/records.h"

#include "api/json.h"

#include <QCoreApplication>
#include <QHashFunctions>

namespace kivolo {

namespace json = boost::json;

namespace {

[[noreturn]] void fail()
{
    throw DecodingError(
        QCoreApplication::translate("KivoloAPI", "The server's reply could not be read."));
}

void read(const json::value &value, QString &field)
{
    if (!value.is_string())
        fail();
    field = toText(value.get_string());
}

void read(const json::value &value, bool &field)
{
    if (!value.is_bool())
        fail();
    field = value.get_bool();
}

void read(const json::value &value, qint64 &field)
{
    if (!value.is_int64())
        fail();
    field = value.get_int64();
}

void read(const json::value &value, Beam &beam);
void read(const json::value &value, Member &member);
template<typename Record>
void read(const json::value &value, QList<Record> &records);

/// Reads the fields of one JSON object by their names.
class Fields
{
public:
    explicit Fields(const json::object &object)
        : object_(object)
    {}

    template<typename T>
    Fields &required(std::string_view key, T &field)
    {
        const json::value *value = object_.if_contains(key);
        if (!value)
            fail();
        read(*value, field);
        return *this;
    }

    template<typename T>
    Fields &optional(std::string_view key, std::optional<T> &field)
    {
        const json::value *value = object_.if_contains(key);
        if (value && !value->is_null())
            read(*value, field.emplace());
        return *this;
    }

private:
    const json::object &object_;
};

const json::object &objectOf(const json::value &value)
{
    if (!value.is_object())
        fail();
    return value.get_object();
}

void read(const json::value &value, Beam &beam)
{
    Fields(objectOf(value))
        .required("id", beam.id)
        .required("from_member", beam.from_member)
        .required("type", beam.type)
        .required("body", beam.body)
        .required("created_at", beam.created_at)
        .required("from_handle", beam.from_handle)
        .required("from_emoji", beam.from_emoji)
        .optional("effect", beam.effect)
        .optional("open_at", beam.open_at)
        .optional("sealed", beam.sealed);
}

void read(const json::value &value, Member &member)
{
    Fields(objectOf(value))
        .required("id", member.id)
        .required("handle", member.handle)
        .required("emoji", member.emoji)
        .optional("last_seen", member.last_seen);
}

template<typename Record>
void read(const json::value &value, QList<Record> &records)
{
    if (!value.is_array())
        fail();
    const json::array &array = value.get_array();
    records.reserve(static_cast<qsizetype>(array.size()));
    for (const json::value &element : array)
        read(element, records.emplaceBack());
}

json::object parse(const QByteArray &bytes)
{
    std::optional<json::object> object = jsonObject(bytes);
    if (!object)
        fail();
    return std::move(*object);
}

} // namespace

size_t qHash(const Member &member, size_t seed) noexcept
{
    return qHashMulti(seed, member.id, member.handle, member.emoji, member.last_seen.has_value(),
                      member.last_seen.value_or(0));
}

Beam Beam::decode(const QByteArray &json)
{
    Beam beam;
    read(parse(json), beam);
    return beam;
}

VersionInfo VersionInfo::decode(const QByteArray &json)
{
    VersionInfo info;
    Fields(parse(json))
        .required("version", info.version)
        .required("url", info.url)
        .optional("notes", info.notes);
    return info;
}

MeResponse MeResponse::decode(const QByteArray &json)
{
    MeResponse reply;
    Fields(parse(json))
        .required("joined", reply.joined)
        .optional("circle_id", reply.circle_id)
        .optional("code", reply.code)
        .optional("member_id", reply.member_id)
        .optional("handle", reply.handle)
        .optional("max_seats", reply.max_seats)
        .optional("members", reply.members);
    return reply;
}

BeamsResponse BeamsResponse::decode(const QByteArray &json)
{
    BeamsResponse reply;
    Fields(parse(json)).required("beams", reply.beams).required("server_time", reply.server_time);
    return reply;
}

HistoryResponse HistoryResponse::decode(const QByteArray &json)
{
    HistoryResponse reply;
    Fields(parse(json)).required("beams", reply.beams);
    return reply;
}

OkResponse OkResponse::decode(const QByteArray &json)
{
    OkResponse reply;
    Fields(parse(json))
        .required("ok", reply.ok)
        .optional("id", reply.id)
        .optional("created_at", reply.created_at);
    return reply;
}

CreateResponse CreateResponse::decode(const QByteArray &json)
{
    CreateResponse reply;
    Fields(parse(json))
        .required("circle_id", reply.circle_id)
        .required("code", reply.code)
        .required("max_seats", reply.max_seats);
    return reply;
}

JoinResponse JoinResponse::decode(const QByteArray &json)
{
    JoinResponse reply;
    Fields(parse(json))
        .required("circle_id", reply.circle_id)
        .required("member_id", reply.member_id)
        .required("code", reply.code)
        .required("max_seats", reply.max_seats)
        .required("members", reply.members);
    return reply;
}

} // namespace kivolo
