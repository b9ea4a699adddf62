// SPDX-License-Identifier: Apache-2.0
// The logger: a line "host LEVEL FILE: TEXT" a record, on the standard error output. It defines
// what common/log/log.h declares and the libraries use: the record itself. Thresholds and sinks are
// the program's own business.
#include <iostream>
#include <sstream>
#include <string>

#include "common/log/log.h"

namespace {

constexpr int kThreshold = 2;  // warnings

// A module may answer what would drive a terminal or look like another record.
std::string Printable(std::string text)
{
    for (char& character : text) {
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7f') {
            character = ' ';
        }
    }
    return text;
}

std::ostream& Nowhere()
{
    // A stream that has failed formats nothing; one a thread, for inserters may change its flags.
    thread_local std::ostream nowhere(nullptr);
    return nowhere;
}

}  // namespace

namespace Tulvo {

struct Log::Record
{
    int level;
    const char* file;
    std::ostringstream text;
};

Log::Log(int level, const char* file, int)
{
    if (level <= kThreshold) {
        record_ = new Record{level, file, {}};
    }
}

Log::~Log()
{
    if (record_ == nullptr) {
        return;
    }
    std::ostringstream line;
    line << "host " << record_->level << ' ' << record_->file << ": "
         << Printable(record_->text.str()) << '\n';
    std::cerr << line.str();
    delete record_;
}

std::ostream& Log::Stream()
{
    return record_ == nullptr ? Nowhere() : record_->text;
}

}  // namespace Tulvo
