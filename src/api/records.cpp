#include "api/records.h"

#include <QCoreApplication>
#include <QHashFunctions>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace kivolo {

namespace {

[[noreturn]] void fail()
{
    throw DecodingError(
        QCoreApplication::translate("KivoloAPI", "The server's reply could not be read."));
}

void read(const QJsonValue &value, QString &field)
{
    if (!value.isString())
        fail();
    field = value.toString();
}

void read(const QJsonValue &value, bool &field)
{
    if (!value.isBool())
        fail();
    field = value.toBool();
}

void read(const QJsonValue &value, qint64 &field)
{
    // toInteger() answers with the default for a fraction and for what 64 bits do not hold.
    field = value.toInteger(0);
    if (!value.isDouble() || field != value.toInteger(1))
        fail();
}

void read(const QJsonValue &value, Beam &beam);
void read(const QJsonValue &value, Member &member);
template<typename Record>
void read(const QJsonValue &value, QList<Record> &records);

/// Reads the fields of one JSON object by their names.
class Fields
{
public:
    explicit Fields(const QJsonValue &value)
        : object_(value.toObject())
    {
        if (!value.isObject())
            fail();
    }

    template<typename T>
    Fields &required(QLatin1StringView key, T &field)
    {
        read(object_.value(key), field);
        return *this;
    }

    template<typename T>
    Fields &optional(QLatin1StringView key, std::optional<T> &field)
    {
        const QJsonValue value = object_.value(key);
        if (!value.isUndefined() && !value.isNull())
            read(value, field.emplace());
        return *this;
    }

private:
    QJsonObject object_;
};

void read(const QJsonValue &value, Beam &beam)
{
    using namespace Qt::StringLiterals;
    Fields(value)
        .required("id"_L1, beam.id)
        .required("from_member"_L1, beam.from_member)
        .required("type"_L1, beam.type)
        .required("body"_L1, beam.body)
        .required("created_at"_L1, beam.created_at)
        .required("from_handle"_L1, beam.from_handle)
        .required("from_emoji"_L1, beam.from_emoji)
        .optional("effect"_L1, beam.effect)
        .optional("open_at"_L1, beam.open_at)
        .optional("sealed"_L1, beam.sealed);
}

void read(const QJsonValue &value, Member &member)
{
    using namespace Qt::StringLiterals;
    Fields(value)
        .required("id"_L1, member.id)
        .required("handle"_L1, member.handle)
        .required("emoji"_L1, member.emoji)
        .optional("last_seen"_L1, member.last_seen);
}

template<typename Record>
void read(const QJsonValue &value, QList<Record> &records)
{
    if (!value.isArray())
        fail();
    const QJsonArray array = value.toArray();
    records.reserve(array.size());
    for (const QJsonValue element : array)
        read(element, records.emplaceBack());
}

QJsonValue parse(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        fail();
    return document.object();
}

} // namespace

size_t qHash(const Member &member, size_t seed) noexcept
{
    return qHashMulti(seed, member.id, member.handle, member.emoji, member.last_seen.has_value(),
                      member.last_seen.value_or(0));
}

using namespace Qt::StringLiterals;

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
        .required("version"_L1, info.version)
        .required("url"_L1, info.url)
        .optional("notes"_L1, info.notes);
    return info;
}

MeResponse MeResponse::decode(const QByteArray &json)
{
    MeResponse reply;
    Fields(parse(json))
        .required("joined"_L1, reply.joined)
        .optional("circle_id"_L1, reply.circle_id)
        .optional("code"_L1, reply.code)
        .optional("member_id"_L1, reply.member_id)
        .optional("handle"_L1, reply.handle)
        .optional("max_seats"_L1, reply.max_seats)
        .optional("members"_L1, reply.members);
    return reply;
}

BeamsResponse BeamsResponse::decode(const QByteArray &json)
{
    BeamsResponse reply;
    Fields(parse(json))
        .required("beams"_L1, reply.beams)
        .required("server_time"_L1, reply.server_time);
    return reply;
}

HistoryResponse HistoryResponse::decode(const QByteArray &json)
{
    HistoryResponse reply;
    Fields(parse(json)).required("beams"_L1, reply.beams);
    return reply;
}

OkResponse OkResponse::decode(const QByteArray &json)
{
    OkResponse reply;
    Fields(parse(json))
        .required("ok"_L1, reply.ok)
        .optional("id"_L1, reply.id)
        .optional("created_at"_L1, reply.created_at);
    return reply;
}

CreateResponse CreateResponse::decode(const QByteArray &json)
{
    CreateResponse reply;
    Fields(parse(json))
        .required("circle_id"_L1, reply.circle_id)
        .required("code"_L1, reply.code)
        .required("max_seats"_L1, reply.max_seats);
    return reply;
}

JoinResponse JoinResponse::decode(const QByteArray &json)
{
    JoinResponse reply;
    Fields(parse(json))
        .required("circle_id"_L1, reply.circle_id)
        .required("member_id"_L1, reply.member_id)
        .required("code"_L1, reply.code)
        .required("max_seats"_L1, reply.max_seats)
        .required("members"_L1, reply.members);
    return reply;
}

} // namespace kivolo
