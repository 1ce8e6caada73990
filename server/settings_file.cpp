#include "settings_file.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

namespace kivolo::server {

std::vector<CLI::ConfigItem> SettingsFile::from_config(std::istream &input) const
{
    std::vector<CLI::ConfigItem> found = ConfigBase::from_config(input);
    std::erase_if(found, [this](const CLI::ConfigItem &item) {
        const CLI::Option *option =
            item.parents.empty() ? app_.get_option_no_throw("--" + item.name) : nullptr;
        if (!option || !option->get_configurable())
            throw CLI::ConfigError("the settings file says something about \"" +
                                       (item.parents.empty() ? item.name : item.parents.front()) +
                                       "\", and there is no such setting",
                                   CLI::ExitCodes::ConfigError);
        // Before any thread is started, so the environment stands still.
        const char *said =
            std::getenv(option->get_envname().c_str()); // NOLINT(concurrency-mt-unsafe)
        return said && *said;
    });
    return found;
}

} // namespace kivolo::server
