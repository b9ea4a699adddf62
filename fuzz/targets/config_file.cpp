// SPDX-License-Identifier: Apache-2.0
#include "common/config/config_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "common/platform/file_descriptor.h"
#include "common/text/pin.h"
#include "fuzz/input_reader.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

using Config::ConfigFile;
using Config::Statement;

constexpr const char* kKeys[] = {"IPMI_CONNECT_RETRY_TIMES",
                                 "IPMI_SESSION_TIMEOUT_MS",
                                 "IPMI_RETRANSMISSION_TIMEOUT_MS",
                                 "IPMI_PRIVILEGE_LEVEL",
                                 "IPMI_CIPHER_SUITE",
                                 "MODULE_TYPE",
                                 "HTTPS_CA_FILE",
                                 "HTTPS_PINNED_KEY"};

/// A file that no disk has to keep.
class FileInMemory
{
public:
    FileInMemory() { Require(descriptor_.Valid(), "there is memory for a file"); }

    void Write(Input content) const
    {
        Require(ftruncate(descriptor_.Get(), 0) == 0 &&
                    pwrite(descriptor_.Get(), content.data(), content.size(), 0) ==
                        static_cast<ssize_t>(content.size()),
                "the file can be written");
    }

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_.Get()); }

private:
    FileDescriptor descriptor_{memfd_create("config.toml", MFD_CLOEXEC)};
};

bool IsControl(char character)
{
    return (character >= 0 && character < ' ') || character == 0x7F;
}

/// A complaint names the file and, but for a file that cannot be read, a line of it.
void RequireGoodComplaint(const std::string& complaint, const std::string& path, Input content)
{
    Require(complaint.starts_with(path), "a complaint begins with the file");
    Require(std::none_of(complaint.begin(), complaint.end(), IsControl),
            "a complaint is one line and drives no terminal");
    if (complaint[path.size()] != ':') {
        return;
    }
    const auto lines = 1 + std::count(content.begin(), content.end(), '\n');
    long line = 0;
    std::from_chars(complaint.data() + path.size() + 1, complaint.data() + complaint.size(), line);
    Require(line >= 1 && line <= lines, "a complaint names a line that there is");
}

template <class Value>
bool IsGoodStatement(const Statement<Value>& statement, const std::string& path, Input content)
{
    if (!statement.complaint.empty()) {
        RequireGoodComplaint(statement.complaint, path, content);
    }
    Require(!statement.value || statement.complaint.empty(), "a value comes without complaint");
    return statement.value.has_value();
}

bool IsDigest(std::string_view text)
{
    constexpr std::string_view kStart = "sha256//";
    constexpr std::size_t kLength = 52;  // with 43 digits and an equals sign
    const auto isDigit = [](unsigned char character) {
        return std::isalnum(character) != 0 || character == '+' || character == '/';
    };
    return text.size() == kLength && text.starts_with(kStart) && text.back() == '=' &&
           std::all_of(text.begin() + kStart.size(), text.end() - 1, isDigit);
}

void RequirePin(std::string_view pin)
{
    if (!Text::ArePins(pin)) {
        return;
    }
    for (std::size_t start = 0; start <= pin.size();) {
        const std::size_t end = std::min(pin.find(';', start), pin.size());
        Require(IsDigest(pin.substr(start, end - start)), "a pin is one or more digests of a key");
        start = end + 1;
    }
}

void RequireGoodKey(const ConfigFile& file, const std::string& key, const std::string& path,
                    Input content)
{
    const Statement<int> number = file.Find<int>(key);
    const Statement<std::string> text = file.Find<std::string>(key);
    const bool isNumber = IsGoodStatement(number, path, content);
    const bool isText = IsGoodStatement(text, path, content);
    Require(!isNumber || !isText, "a setting is of one type");
    Require(!isNumber || !text.complaint.empty(), "a number is no text");
    Require(!isText || !number.complaint.empty(), "a text is no number");
    Require(file.Complaint().empty() || (!isNumber && !isText),
            "a file that cannot be used sets nothing");
    RequirePin(text.value.value_or(""));
}

}  // namespace

void RunConfigFile(Input input)
{
    static const FileInMemory memory;
    const std::string path = memory.Path();
    memory.Write(input);
    ConfigFile file;
    file.Read(path, false);
    if (!file.Complaint().empty()) {
        RequireGoodComplaint(file.Complaint(), path, input);
    }
    for (const char* key : kKeys) {
        RequireGoodKey(file, key, path, input);
    }
    const std::string complaint = file.Complaint();
    file.Read(path, false);
    Require(file.Complaint() == complaint, "a file that has not changed says the same");
}

// The input is the file.
std::vector<Bytes> ConfigFileSeeds()
{
    return {
        AsBytes("# For the enclosures of row 2\n"
                "IPMI_CONNECT_RETRY_TIMES = 5\n"
                "IPMI_SESSION_TIMEOUT_MS = 8_000\n"
                "IPMI_RETRANSMISSION_TIMEOUT_MS = 0x3E8\n"
                "IPMI_CIPHER_SUITE = 17\n"
                "HTTPS_CA_FILE = \"/etc/vktinventory/authority.pem\"\n"),
        AsBytes("HTTPS_PINNED_KEY = 'sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA='\n"
                "MODULE_TYPE = 1\r\n"),
        AsBytes("HTTPS_CA_FILE = \"\"\"\nseveral\\u00e9\n lines\"\"\"\nMODULE_TYPE = \"1\"\n"),
        AsBytes("IPMI_PRIVILEGE_LEVEL = 99999999999\nMODULE_TYPE = 1.5\n[table]\nx = true\n"
                "[[tables]]\ny = [1, {z = 1979-05-27T07:32:00Z}]\na.b.\"c\" = -0b1\n"),
    };
}

}  // namespace Tulvo::Fuzz
