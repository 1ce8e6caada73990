// Settings in a file.
#pragma once

#include <CLI/Config.hpp>

namespace kivolo::server {

/// Reads a file of settings, in TOML, for the options of an app: `max-seats = 5`. What the
/// environment says as well is left out, because that counts for more. Throws CLI::ConfigError with
/// a sentence that names the key which there is no option for.
class SettingsFile final : public CLI::ConfigBase
{
public:
    explicit SettingsFile(const CLI::App &app)
        : app_(app)
    {}
    std::vector<CLI::ConfigItem> from_config(std::istream &input) const override;

private:
    const CLI::App &app_;
};

} // namespace kivolo::server
