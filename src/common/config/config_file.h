// SPDX-License-Identifier: Apache-2.0
#ifndef COMMON_CONFIG_CONFIG_FILE_H
#define COMMON_CONFIG_CONFIG_FILE_H

#include <cstdint>
#include <map>
#include <string>
#include <variant>

#include "common/config/setting.h"
#include "common/config/small_file.h"

namespace Tulvo::Config {

/// The settings of a TOML file: its top-level keys.
class ConfigFile
{
public:
    /// Takes over what `path` holds now; what has not changed is not parsed again.
    /// @param mayBeMissing whether it is in order that there is no such file.
    void Read(const std::string& path, bool mayBeMissing);

    /// What is wrong with the file as a whole; empty when nothing is.
    const std::string& Complaint() const { return complaint_; }

    /// For int and std::string.
    template <class Value>
    Statement<Value> Find(const std::string& key) const;

    /// That `key` stands within a table, where no setting is looked for; empty when it does not.
    std::string Misplaced(const std::string& key) const;

private:
    struct Entry
    {
        /// Integers and texts; every other type is one that no setting has.
        std::variant<std::monostate, std::int64_t, std::string> value;
        unsigned line = 0;
    };

    void Parse();

    std::string path_;
    SmallFile file_;
    bool isParsed_ = false;  ///< What is below tells of `file_`.
    std::string complaint_;
    std::map<std::string, Entry> entries_;
    std::map<std::string, unsigned> linesWithinTables_;  ///< By key.
};

}  // namespace Tulvo::Config

#endif
