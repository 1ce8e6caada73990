#include "api/records.h"

#include "api/json.h"

#include <QCoreApplication>
#include <QHashFunctions>

namespace kivolo {

namespace dom = simdjson::dom;
using Value = JsonReader::Value;

namespace {

[[noreturn]] void fail()
{
    throw DecodingError(
        QCoreApplication::translate("KivoloAPI", "The server's reply could not be read."));
}

void read(const Value &value, QString &field)
{
    std::optional<QString> text = textOf(value);
    if (!text)
        fail();
    field = *std::move(text);
}

template<typename Plain>
requires std::same_as<Plain, bool> || std::same_as<Plain, qint64>
void read(const Value &value, Plain &field)
{
    using Stored = std::conditional_t<std::same_as<Plain, bool>, bool, std::int64_t>;
    Stored stored{};
    if (value.get(stored) != simdjson::SUCCESS)
        fail();
    field = stored;
}

class Fields;
void read(Fields fields, Beam &beam);
void read(Fields fields, Member &member);
template<typename Record>
void read(const Value &value, QList<Record> &records);

/// Reads the fields of one JSON object by their names.
class Fields
{
public:
    Fields(const Value &value)
    {
        if (value.get(object_) != simdjson::SUCCESS)
            fail();
    }

    template<typename T>
    Fields &required(std::string_view key, T &field)
    {
        const std::optional<Value> value = valueOf(object_, key);
        if (!value)
            fail();
        read(*value, field);
        return *this;
    }

    template<typename T>
    Fields &optional(std::string_view key, std::optional<T> &field)
    {
        const std::optional<Value> value = valueOf(object_, key);
        if (value && !value->is_null())
            read(*value, field.emplace());
        return *this;
    }

private:
    dom::object object_;
};

void read(Fields fields, Beam &beam)
{
    fields.required("id", beam.id)
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

void read(Fields fields, Member &member)
{
    fields.required("id", member.id)
        .required("handle", member.handle)
        .required("emoji", member.emoji)
        .optional("last_seen", member.last_seen);
}

template<typename Record>
void read(const Value &value, QList<Record> &records)
{
    dom::array array;
    if (value.get(array) != simdjson::SUCCESS)
        fail();
    records.reserve(static_cast<qsizetype>(array.size()));
    for (const Value element : array)
        read(element, records.emplaceBack());
}

/// The fields of a reply, with what they are read from.
class Reply : JsonReader, public Fields
{
public:
    explicit Reply(const QByteArray &bytes)
        : Fields(objectIn(*this, bytes))
    {}

private:
    static Value objectIn(JsonReader &reader, const QByteArray &bytes)
    {
        const std::optional<Value> value = reader.read(bytes);
        if (!value)
            fail();
        return *value;
    }
};

} // namespace

size_t qHash(const Member &member, size_t seed) noexcept
{
    return qHashMulti(seed, member.id, member.handle, member.emoji, member.last_seen.has_value(),
                      member.last_seen.value_or(0));
}

Beam Beam::decode(const QByteArray &json)
{
    Beam beam;
    read(Reply(json), beam);
    return beam;
}

VersionInfo VersionInfo::decode(const QByteArray &json)
{
    VersionInfo info;
    Reply(json)
        .required("version", info.version)
        .required("url", info.url)
        .optional("notes", info.notes);
    return info;
}

MeResponse MeResponse::decode(const QByteArray &json)
{
    MeResponse reply;
    Reply(json)
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
    Reply(json).required("beams", reply.beams).required("server_time", reply.server_time);
    return reply;
}

HistoryResponse HistoryResponse::decode(const QByteArray &json)
{
    HistoryResponse reply;
    Reply(json).required("beams", reply.beams);
    return reply;
}

OkResponse OkResponse::decode(const QByteArray &json)
{
    OkResponse reply;
    Reply(json)
        .required("ok", reply.ok)
        .optional("id", reply.id)
        .optional("created_at", reply.created_at);
    return reply;
}

CreateResponse CreateResponse::decode(const QByteArray &json)
{
    CreateResponse reply;
    Reply(json)
        .required("circle_id", reply.circle_id)
        .required("code", reply.code)
        .required("max_seats", reply.max_seats);
    return reply;
}

JoinResponse JoinResponse::decode(const QByteArray &json)
{
    JoinResponse reply;
    Reply(json)
        .required("circle_id", reply.circle_id)
        .required("member_id", reply.member_id)
        .required("code", reply.code)
        .required("max_seats", reply.max_seats)
        .required("members", reply.members);
    return reply;
}

} // namespace kivolo
