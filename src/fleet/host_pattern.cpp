// SPDX-License-Identifier: Apache-2.0
#include "fleet/host_pattern.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>
#include <utility>

#include "common/text/host.h"
#include "common/text/printable.h"
#include "fleet/bounded_file.h"
#include "fleet/number_runs.h"

namespace Tulvo::Fleet {
namespace {

constexpr std::size_t kLongestName = 300;  // a domain name, a zone, brackets and port
/// Hosts may be named twice, but not without end.
constexpr std::size_t kMostNamings = 10 * kMostHosts;
constexpr std::size_t kLargestHostFile = 10U << 20U;

using Text::PrintableAscii;
using Text::Quoted;

/// Thrown and caught within this file.
struct Wrong
{
    std::string what;
};

struct RefusedCharacter
{
    char character;
    std::string_view why;
};

constexpr RefusedCharacter kRefusedCharacters[] = {
    {'!', "sets of hosts are combined by commas only"},
    {'&', "sets of hosts are combined by commas only"},
    {'^', "it names a file of patterns only as the first character"},
    {'@', "neither a user nor a group can stand in it"},
    {'*', "write numbers as a range, as in enc[1-40]"},
    {'?', "write numbers as a range, as in enc[1-40]"},
    {'{', "write numbers as a range, as in enc[1-40]"},
    {'}', "write numbers as a range, as in enc[1-40]"},
    {'/', "a host is a name or an address; a step stands in brackets, as in enc[0-10/2]"},
    {' ', "a comma separates hosts"},
    {'\t', "a comma separates hosts"},
};

void CheckCharacter(char character)
{
    const auto* const refused = std::find_if(
        std::begin(kRefusedCharacters), std::end(kRefusedCharacters),
        [character](const RefusedCharacter& entry) { return entry.character == character; });
    if (refused != std::end(kRefusedCharacters)) {
        throw Wrong{std::string("'") + PrintableAscii({&character, 1}) +
                    "' is no part of a host's name: " + std::string(refused->why)};
    }
    if (!Text::IsPrintableAscii(character)) {
        throw Wrong{"the byte " + Text::EscapedByte(character) + " is no part of a host's name"};
    }
}

[[noreturn]] void TooMany()
{
    throw Wrong{"more than " + std::to_string(kMostHosts) + " hosts"};
}

/// From `first` in steps to `last`, with leading zeros to `width` digits.
struct Range
{
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint64_t step = 1;
    std::size_t width = 0;

    std::uint64_t Count() const { return (last - first) / step + 1; }
};

using Ranges = std::vector<Range>;

std::uint64_t CountOf(const Ranges& ranges)
{
    std::uint64_t count = 0;
    for (const Range& range : ranges) {
        count += std::min<std::uint64_t>(range.Count(), kMostNamings);
    }
    return count;
}

std::string NumberText(std::uint64_t number, std::size_t width)
{
    std::string text = std::to_string(number);
    return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

std::vector<std::string> NumbersOf(const Ranges& ranges)
{
    if (CountOf(ranges) > kMostHosts) {
        TooMany();
    }
    std::vector<std::string> numbers;
    for (const Range& range : ranges) {
        for (std::uint64_t i = 0; i < range.Count(); ++i) {
            numbers.push_back(NumberText(range.first + i * range.step, range.width));
        }
    }
    return numbers;
}

/// Texts with numbers between them: one text more than places with numbers.
struct Term
{
    std::vector<std::string> texts = {""};
    std::vector<std::vector<std::string>> numbers;
    std::uint64_t count = 1;  ///< Of its hosts.
};

void CheckDigits(std::string_view digits, std::string_view range)
{
    if (digits.empty()) {
        throw Wrong{range.empty() ? "a range is empty"
                                  : "the range " + Quoted(range) + " lacks a number"};
    }
    if (digits.find_first_not_of(kDigits) != std::string_view::npos) {
        throw Wrong{Quoted(range) + " is no range of numbers such as 1-40, 001-040 or 0-10/2"};
    }
    if (digits.size() > kMostDigits) {
        throw Wrong{"a number of the range " + Quoted(range) + " is too large"};
    }
}

/// One of the ranges between brackets, as it is written.
struct WrittenRange
{
    std::string first;
    std::string last;
    std::uint64_t step = 1;
};

Range Checked(const WrittenRange& written)
{
    const std::string shown =
        written.first == written.last ? written.first : written.first + "-" + written.last;
    CheckDigits(written.first, shown);
    CheckDigits(written.last, shown);
    Range range{NumberOf(written.first), NumberOf(written.last), written.step, 0};
    const bool firstPadded = HasLeadingZero(written.first);
    const bool lastPadded = HasLeadingZero(written.last) && range.last != 0;
    if ((firstPadded || lastPadded) && written.first.size() != written.last.size()) {
        throw Wrong{"the ends of the range " + Quoted(shown) +
                    " differ in width; with leading zeros write as many digits in both"};
    }
    if (range.first > range.last) {
        throw Wrong{"the range " + Quoted(shown) + " ends before it begins"};
    }
    range.width = firstPadded ? written.first.size() : 0;
    return range;
}

WrittenRange ReadRange(std::string_view text)
{
    WrittenRange range;
    const std::size_t slash = text.find('/');
    const std::string_view ends = text.substr(0, slash);
    const std::size_t dash = ends.find('-');
    range.first = ends.substr(0, dash);
    CheckDigits(range.first, text);
    range.last = dash == std::string_view::npos ? range.first : ends.substr(dash + 1);
    CheckDigits(range.last, text);
    if (slash != std::string_view::npos) {
        const std::string_view step = text.substr(slash + 1);
        CheckDigits(step, text);
        range.step = NumberOf(step);
        if (range.step == 0 || (range.step != 1 && dash == std::string_view::npos)) {
            throw Wrong{Quoted(text) + " has a step that cannot be"};
        }
    }
    return range;
}

/// "[1-3]5" is 15, 25, 35.
void AppendDigits(WrittenRange& range, const std::string& digits)
{
    range.first += digits;
    range.last += digits;
    if (range.first != range.last) {
        for (std::size_t i = 0; i < digits.size() && i < kMostDigits; ++i) {
            range.step *= 10;
        }
    }
}

/// "1[2-5]" is 12-15. ClusterShell puts the digits before the ends of each run.
std::vector<WrittenRange> PrependDigits(const std::string& digits, const Ranges& ranges)
{
    std::vector<WrittenRange> prepended;
    for (const NumberRun& run : RunsOf(NumbersOf(ranges))) {
        prepended.push_back({digits + run.first, digits + run.last, 1});
    }
    return prepended;
}

/// Reads the terms of one pattern, one after the other.
class Reader
{
public:
    explicit Reader(std::string_view pattern) : pattern_(pattern) {}

    bool AtEnd() const { return at_ >= pattern_.size(); }
    std::size_t At() const { return at_; }

    /// The name of a file, when the term is one.
    std::optional<std::string> TakeFile()
    {
        if (AtEnd() || pattern_[at_] != '^') {
            return std::nullopt;
        }
        const std::size_t end = std::min(pattern_.find(',', at_), pattern_.size());
        const std::string file(pattern_.substr(at_ + 1, end - at_ - 1));
        if (file.empty()) {
            throw Wrong{"'^' lacks its file; '^-' is standard input"};
        }
        at_ = end;
        return file;
    }

    Term TakeTerm()
    {
        const std::size_t start = at_;
        Term term;
        TakeAddress(term);
        while (!AtEnd() && pattern_[at_] != ',') {
            if (pattern_[at_] == '[') {
                TakeRanges(term);
            } else {
                TakeCharacter(term);
            }
            if (at_ - start > kLongestName && term.numbers.empty()) {
                throw Wrong{"a host's name is too long"};
            }
        }
        if (at_ == start) {
            throw Wrong{"a host's name is empty"};
        }
        return term;
    }

    /// After a term: to the next one. False at the end.
    bool TakeComma()
    {
        if (AtEnd()) {
            return false;
        }
        ++at_;
        return true;
    }

private:
    /// An IPv6 address in brackets, which only the first characters of a term can be.
    void TakeAddress(Term& term)
    {
        const std::size_t end = pattern_.find_first_of("],", at_);
        if (AtEnd() || pattern_[at_] != '[' || end == std::string_view::npos ||
            pattern_[end] != ']') {
            return;
        }
        const std::string_view address = pattern_.substr(at_, end + 1 - at_);
        if (address.find(':') != std::string_view::npos) {
            term.texts.back() += address;
            at_ = end + 1;
        }
    }

    void TakeCharacter(Term& term)
    {
        const char character = pattern_[at_];
        if (character == ']') {
            throw Wrong{"']' has no '[' before it"};
        }
        CheckCharacter(character);
        term.texts.back() += character;
        ++at_;
    }

    void TakeRanges(Term& term)
    {
        const std::size_t end = pattern_.find_first_of("[]", at_ + 1);
        if (end == std::string_view::npos) {
            throw Wrong{"'[' has no ']' behind it"};
        }
        if (pattern_[end] == '[') {
            at_ = end;
            throw Wrong{"'[' stands within brackets"};
        }
        const std::string_view list = pattern_.substr(at_ + 1, end - at_ - 1);
        std::vector<WrittenRange> written = ReadRanges(list);
        const std::string trailing = DigitsAt(end + 1);
        if (!trailing.empty() && list.find('/') != std::string_view::npos) {
            throw Wrong{"digits cannot stand behind a range with a step"};
        }
        const std::size_t next = end + 1 + trailing.size();
        if (pattern_.substr(next, 1) == "[") {
            throw Wrong{"two ranges need a text between them"};
        }
        for (WrittenRange& range : written) {
            AppendDigits(range, trailing);
        }
        Ranges ranges = AllChecked(written);
        const std::string leading = TakeLeadingDigits(term);
        if (!leading.empty()) {
            ranges = AllChecked(PrependDigits(leading, ranges));
        }
        Add(term, NumbersOf(ranges));
        at_ = next;
    }

    static void Add(Term& term, std::vector<std::string> numbers)
    {
        term.count *= numbers.size();
        if (term.count > kMostHosts) {
            TooMany();
        }
        term.numbers.push_back(std::move(numbers));
        term.texts.emplace_back();
    }

    std::string DigitsAt(std::size_t start) const
    {
        const std::size_t end =
            std::min(pattern_.find_first_not_of(kDigits, start), pattern_.size());
        return std::string(pattern_.substr(start, end - start));
    }

    static std::vector<WrittenRange> ReadRanges(std::string_view list)
    {
        std::vector<WrittenRange> ranges;
        for (;;) {
            const std::size_t comma = list.find(',');
            ranges.push_back(ReadRange(list.substr(0, comma)));
            if (comma == std::string_view::npos) {
                return ranges;
            }
            list.remove_prefix(comma + 1);
        }
    }

    static Ranges AllChecked(const std::vector<WrittenRange>& written)
    {
        Ranges ranges;
        for (const WrittenRange& range : written) {
            ranges.push_back(Checked(range));
        }
        return ranges;
    }

    static std::string TakeLeadingDigits(Term& term)
    {
        std::string& text = term.texts.back();
        const std::size_t start = text.find_last_not_of(kDigits) + 1;
        std::string digits = text.substr(start);
        text.resize(start);
        return digits;
    }

    std::string_view pattern_;
    std::size_t at_ = 0;
};

std::optional<std::uint16_t> PortFrom(std::string_view text)
{
    constexpr std::size_t kMostPortDigits = 5;
    if (text.empty() || text.size() > kMostPortDigits ||
        text.find_first_not_of(kDigits) != std::string_view::npos) {
        return std::nullopt;
    }
    const std::uint64_t port = NumberOf(text);
    return port == 0 || port > UINT16_MAX ? std::nullopt
                                          : std::optional(static_cast<std::uint16_t>(port));
}

bool IsIpv6(std::string_view text)
{
    in6_addr address{};
    const std::string plain(text.substr(0, text.find('%')));
    return inet_pton(AF_INET6, plain.c_str(), &address) == 1;
}

/// Throws Wrong when `name` is not one host.
HostPort ReadHost(std::string_view name)
{
    std::string_view host = name;
    std::optional<std::string_view> port;
    if (name.starts_with('[')) {
        const std::size_t end = std::min(name.find(']'), name.size());
        host = name.substr(1, end - 1);
        const std::string_view rest = name.substr(std::min(end + 1, name.size()));
        if (end == name.size() || !IsIpv6(host) || (!rest.empty() && rest.front() != ':')) {
            throw Wrong{Quoted(name) + " is no IPv6 address in brackets"};
        }
        if (!rest.empty()) {
            port = rest.substr(1);
        }
    } else if (std::count(name.begin(), name.end(), ':') == 1) {
        host = name.substr(0, name.find(':'));
        port = name.substr(host.size() + 1);
    } else if (name.find(':') != std::string_view::npos && !IsIpv6(name)) {
        throw Wrong{Quoted(name) + " is neither an IPv6 address nor HOST:PORT"};
    }
    if (host.empty() || name.size() > kLongestName) {
        throw Wrong{host.empty() ? "a host's name is empty" : "a host's name is too long"};
    }
    const std::optional<std::uint16_t> number =
        port ? PortFrom(*port) : std::optional<std::uint16_t>(0);
    if (!number) {
        throw Wrong{Quoted(name) + " has no port from 1 to 65535 behind its colon"};
    }
    return {std::string(host), *number};
}

/// Who takes a host out and names no port means all that it listens on.
bool IsOnAPortOf(const std::unordered_set<std::string>& hosts, const std::string& host)
{
    const std::optional<HostPort> divided = SplitPort(host);
    return divided && divided->port != 0 &&
           (hosts.contains(divided->host) || hosts.contains(Text::WithBrackets(divided->host)));
}

/// Hosts in the order in which they are named, each once.
class Collection
{
public:
    void Add(const Term& term)
    {
        for (std::uint64_t i = 0; i < term.count; ++i) {
            Add(NameAt(term, i));
        }
    }

    Hosts Take(const std::unordered_set<std::string>& without)
    {
        if (!without.empty()) {
            std::erase_if(hosts_, [&without](const std::string& host) {
                return without.contains(host) || IsOnAPortOf(without, host);
            });
        }
        return std::move(hosts_);
    }
    const std::unordered_set<std::string>& Seen() const { return seen_; }

private:
    /// The last number varies first.
    static std::string NameAt(const Term& term, std::uint64_t index)
    {
        std::string name = term.texts.front();
        std::uint64_t behind = term.count;
        for (std::size_t i = 0; i < term.numbers.size(); ++i) {
            behind /= term.numbers[i].size();
            name += term.numbers[i][index / behind];
            name += term.texts[i + 1];
            index %= behind;
        }
        return name;
    }

    void Add(std::string name)
    {
        ReadHost(name);
        if (++namings_ > kMostNamings) {
            TooMany();
        }
        if (seen_.insert(name).second) {
            hosts_.push_back(std::move(name));
        }
        if (hosts_.size() > kMostHosts) {
            TooMany();
        }
    }

    Hosts hosts_;
    std::unordered_set<std::string> seen_;
    std::size_t namings_ = 0;
};

void AddPattern(Collection& hosts, std::string_view pattern, HostFiles files,
                const std::string& place);

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view line)
{
    const std::size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
    line.remove_prefix(start);
    return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

void AddFile(Collection& hosts, const std::string& file)
{
    const bool standardInput = file == "-";
    const std::string name =
        standardInput ? "standard input" : PrintableAscii(file, Text::kMostShown);
    const auto read =
        standardInput ? ReadStandardInput(kLargestHostFile) : ReadFile(file, kLargestHostFile);
    if (const auto* const reason = std::get_if<std::string>(&read)) {
        throw Wrong{"the patterns of " + name + " cannot be read: " + *reason};
    }
    std::string_view rest = std::get<FileText>(read).text;
    std::size_t number = 0;
    bool any = false;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        ++number;
        const std::string_view pattern = Trimmed(line);
        if (!pattern.empty() && pattern.front() != '#') {
            any = true;
            AddPattern(hosts, pattern, HostFiles::kRefused,
                       name + ", line " + std::to_string(number) + ": ");
        }
    }
    if (!any) {
        throw Wrong{name + " names no host"};
    }
}

/// Throws Mistake.
void AddPattern(Collection& hosts, std::string_view pattern, HostFiles files,
                const std::string& place)
{
    Reader reader(pattern);
    std::size_t termAt = 0;
    try {
        do {
            termAt = reader.At();
            const std::optional<std::string> file = reader.TakeFile();
            if (!file) {
                hosts.Add(reader.TakeTerm());
            } else if (files == HostFiles::kRead) {
                AddFile(hosts, *file);
            } else {
                throw Wrong{"a file of patterns cannot be named here"};
            }
        } while (reader.TakeComma());
    } catch (const Wrong& wrong) {
        // A mistake of a whole term has been passed when it is seen.
        const std::size_t at = reader.AtEnd() || pattern[reader.At()] == ',' ? termAt : reader.At();
        throw Mistake{place + "host pattern " + Quoted(pattern) + ", character " +
                      std::to_string(at + 1) + ": " + wrong.what};
    }
}

Collection Collect(const std::vector<std::string>& patterns, HostFiles files)
{
    Collection hosts;
    for (const std::string& pattern : patterns) {
        AddPattern(hosts, pattern, files, {});
    }
    return hosts;
}

}  // namespace

std::variant<Hosts, Mistake> ExpandHosts(const std::vector<std::string>& patterns,
                                         const std::vector<std::string>& without, HostFiles files)
{
    try {
        Collection hosts = Collect(patterns, files);
        return hosts.Take(Collect(without, files).Seen());
    } catch (Mistake& mistake) {
        return std::move(mistake);
    }
}

bool IsPattern(std::string_view word)
{
    const bool address = word.starts_with('[') && word.find(':') < word.find(']');
    return word.starts_with('^') || word.find(',') != std::string_view::npos ||
           word.find('[', address ? 1 : 0) != std::string_view::npos;
}

std::optional<HostPort> SplitPort(std::string_view name)
{
    try {
        return ReadHost(name);
    } catch (const Wrong&) {
        return std::nullopt;
    }
}

}  // namespace Tulvo::Fleet
