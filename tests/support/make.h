// Beams and replies as a server words them.
#pragma once

#include <QByteArrayList>

namespace kivolo {

/// A note from Mia, the member "m2". `more` adds fields, or changes them: of two of one name the
/// later counts.
inline QByteArray beamJson(const QByteArray &id, const QByteArray &more = {})
{
    return R"({"id":")" + id +
           R"(","from_member":"m2","type":"text","body":"hi","created_at":1000,)"
           R"("from_handle":"Mia","from_emoji":"💜")" +
           more + "}";
}

inline QByteArray historyReply(const QByteArrayList &beams)
{
    return R"({"beams":[)" + beams.join(',') + "]}";
}

inline QByteArray pollReply(const QByteArrayList &beams, qint64 serverTime)
{
    return R"({"server_time":)" + QByteArray::number(serverTime) + R"(,"beams":[)" +
           beams.join(',') + "]}";
}

} // namespace kivolo
