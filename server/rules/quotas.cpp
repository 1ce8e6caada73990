#include "quotas.h"

#include "records/refusal.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

namespace {

// Members go on trying; the operator reads it once.
constexpr std::chrono::minutes betweenWarnings{10};

constexpr std::int64_t bytesOfACircle = 1'024; // with its founder's address

std::string mebibytes(std::int64_t bytes)
{
    return std::to_string(bytes >> 20) + " MiB";
}

} // namespace

Quotas::Quotas(Limits limits)
    : limits_(limits)
{}

void Quotas::requireRoomForCircle(const Room &room)
{
    requireRoom(bytesOfACircle, room);
}

void Quotas::requireRoomForBeam(const Circle &circle, std::int64_t bytes, const Room &room)
{
    if (circle.bytes > limits_.circle) {
        warn("circle " + std::to_string(circle.number) + " keeps the " + mebibytes(limits_.circle) +
             " that a circle may");
        throw Refusal(Refusal::Reason::NoRoom,
                      "This circle has no room left for this. You can go on in a new circle.", {},
                      "circle_quota");
    }
    requireRoom(bytes, room);
}

void Quotas::requireRoom(std::int64_t bytes, const Room &room)
{
    std::string_view limit = "database_quota";
    if (room.used + bytes > limits_.database)
        warn("the database has grown to the " + mebibytes(limits_.database) + " that it may");
    else if (room.freeAfter(bytes) < limits_.reserve) {
        warn("the disk has " + mebibytes(room.free) + " left, of which " +
             mebibytes(limits_.reserve) + " are kept free");
        limit = "disk_reserve";
    } else
        return;
    throw Refusal(Refusal::Reason::NoRoom,
                  "Kivolo's server has no room left for this. Please tell whoever runs it.", {},
                  limit);
}

void Quotas::warn(const std::string &reason)
{
    const auto now = std::chrono::steady_clock::now();
    if (now < quietUntil_)
        return;
    quietUntil_ = now + betweenWarnings;
    spdlog::warn("beams are turned away: {}", reason);
}

} // namespace kivolo::server
