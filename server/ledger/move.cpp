#include "move.h"

#include "sole_use.h"

#include <filesystem>

namespace kivolo::server {

Carried moveDatabase(const std::string &from, const std::string &to)
{
    constexpr std::string_view file = "sqlite:";
    if (from == to)
        throw std::runtime_error("--from and --to are the same");
    if (from.starts_with(file) && !std::filesystem::exists(from.substr(file.size())))
        throw std::runtime_error("there is no database " + from.substr(file.size()));
    Carried carried;
    try {
        withoutQuotes([&] {
            const std::unique_ptr<SoleUse> source = SoleUse::of(from);
            const std::unique_ptr<SoleUse> destination = SoleUse::of(to);
            carried = carryAll(source->side(), destination->side());
            destination->commit();
        });
    } catch (const std::exception &error) {
        throw std::runtime_error(std::string("nothing has been carried: ") + error.what());
    }
    return carried;
}

} // namespace kivolo::server
