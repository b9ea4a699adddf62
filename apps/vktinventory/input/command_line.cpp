// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <sstream>

#include "apps/vktinventory/input/misuse.h"
#include "apps/vktinventory/input/suggestion.h"
#include "common/text/pin.h"
#include "fleet/fan_out.h"

namespace Tulvo::Cli {
namespace {

constexpr int kLongestTimeout = 86400;
constexpr std::uint64_t kMostRounds = 1'000'000'000;

template <class T>
struct Choice
{
    std::string_view name;
    T value;
};

constexpr Choice<bool> kInterfaces[] = {{"lanplus", false}, {"https", true}};
constexpr Choice<Format> kFormats[] = {{"table", Format::kTable},
                                       {"json", Format::kJson},
                                       {"jsonl", Format::kJsonLines},
                                       {"csv", Format::kCsv}};
constexpr Choice<NameList> kNameLists[] = {
    {"hosts", NameList::kHosts}, {"groups", NameList::kGroups}, {"labels", NameList::kLabels}};
constexpr Choice<Enclosures::HttpAuthentication> kAuthentications[] = {
    {"session", Enclosures::HttpAuthentication::kSession},
    {"basic", Enclosures::HttpAuthentication::kBasic}};
/// The suites that both sign and encrypt soundly; the IPMI client uses no other.
constexpr Choice<int> kCipherSuites[] = {{"3", 3}, {"17", 17}};
constexpr Choice<int> kPrivileges[] = {{"USER", 2}, {"OPERATOR", 3}, {"ADMINISTRATOR", 4}};

template <class T, std::size_t N>
std::string Names(const Choice<T> (&choices)[N], const std::string& separator)
{
    std::string names;
    for (const Choice<T>& choice : choices) {
        names += (names.empty() ? "" : separator) + std::string(choice.name);
    }
    return names;
}

template <class T, std::size_t N>
std::string Choose(const Choice<T> (&choices)[N], std::string& word)
{
    for (const Choice<T>& choice : choices) {
        if (CLI::detail::to_lower(word) == CLI::detail::to_lower(std::string(choice.name))) {
            word = std::to_string(static_cast<int>(choice.value));
            return {};
        }
    }
    std::vector<std::string_view> known;
    for (const Choice<T>& choice : choices) {
        known.push_back(choice.name);
    }
    return "\"" + word + "\" is none of " + Names(choices, ", ") + Suggestion(word, known);
}

/// Turns a name, in either case, into the number that CLI11 reads into an enumeration. Describes
/// itself as CLI11's own sets of values do.
template <class T, std::size_t N>
CLI::Validator OneOf(const Choice<T> (&choices)[N])
{
    return CLI::Validator([&choices](std::string& word) { return Choose(choices, word); },
                          "{" + Names(choices, ",") + "}");
}

constexpr const char* kMustNotBeEmpty = "must not be empty";

/// An empty text, as a variable that is not set leaves it, would be the same as no flag: the
/// default would decide whom to trust, or as whom to log in.
CLI::Validator NotEmpty()
{
    return CLI::Validator(
        [](const std::string& word) { return std::string(word.empty() ? kMustNotBeEmpty : ""); },
        "");
}

/// Decimal: a leading zero makes no other number of it.
CLI::Validator NumberFrom(std::uint64_t least, std::uint64_t largest)
{
    return CLI::Validator(
        [least, largest](std::string& word) {
            std::uint64_t number = 0;
            const char* const last = word.data() + word.size();
            const auto [end, error] = std::from_chars(word.data(), last, number);
            if (error != std::errc() || end != last || number < least || number > largest) {
                return "\"" + word + "\" is no number from " + std::to_string(least) + " to " +
                       std::to_string(largest);
            }
            word = std::to_string(number);
            return std::string();
        },
        "");
}

CLI::Validator Pin()
{
    return CLI::Validator(
        [](const std::string& word) {
            return Text::ArePins(word) ? ""
                                       : "\"" + word +
                                             "\" is no pin: sha256// and 44 characters of Base64, "
                                             "the SHA-256 of the module's public key";
        },
        "");
}

CLI::Validator HostName()
{
    return CLI::Validator(
        [](const std::string& word) {
            return std::string(
                word.find("://") == word.npos
                    ? ""
                    : "is a name or an address, not a URL; -I https asks over HTTPS");
        },
        "");
}

std::string ExitCodeHelp()
{
    std::string help = "Exit codes:";
    for (const ExitCodeMeaning& entry : kExitCodes) {
        std::string code = std::to_string(static_cast<int>(entry.code));
        code.resize(5, ' ');
        help += "\n  " + code + std::string(entry.meaning);
    }
    return help;
}

constexpr const char* kAbout =
    "Inventory and health of an enclosure, read from its management module (VKT).";
constexpr const char* kName = "vktinventory";

constexpr std::size_t kHelpColumn = 28;

std::string Synopsis(const Command& command)
{
    std::string words(command.name);
    return command.operands.empty() ? words : words + ' ' + std::string(command.operands);
}

std::string ExamplesHelp()
{
    std::string help = "Examples:\n";
    for (const Example& example : kExamples) {
        help += "  " + std::string(example.words) + "\n";
    }
    return help;
}

/// Usage and description by our table of commands; the rest as CLI11 does it.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter() { column_width(kHelpColumn); }

    std::string make_usage(const CLI::App* app, std::string) const override
    {
        const Command* command = CommandNamed(app->get_name());
        const std::string words = command == nullptr ? "[COMMAND]" : Synopsis(*command);
        const bool asks = command == nullptr || command->action != Action::kHosts;
        return "Usage: vktinventory " + std::string(asks ? "-H HOST " : "") + "[FLAG]... " + words +
               "\n";
    }

    std::string make_subcommand(const CLI::App* sub) const override
    {
        const Command* command = CommandNamed(sub->get_name());
        std::ostringstream line;
        CLI::detail::format_help(line, Synopsis(*command), std::string(command->help), kHelpColumn);
        return line.str();
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }

    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override
    {
        return CLI::detail::find_and_replace(Formatter::make_help(app, name, mode), "\n\n\n",
                                             "\n\n");
    }

    std::string make_description(const CLI::App* app) const override
    {
        const Command* command = CommandNamed(app->get_name());
        return (command == nullptr ? app->get_description() : std::string(command->details)) +
               "\n\n";
    }

private:
    static const Command* CommandNamed(std::string_view name)
    {
        const auto* const found =
            std::find_if(std::begin(kCommands), std::end(kCommands),
                         [&](const Command& command) { return command.name == name; });
        return found == std::end(kCommands) ? nullptr : found;
    }
};

struct Flags
{
    std::optional<int> https;
    std::optional<int> cipherSuite;
    std::optional<int> privilege;
    std::optional<int> authentication;
    std::optional<int> listedNames;
    std::string caFile;
    std::string pin;
    bool insecure = false;
    std::string hiddenPassword;
    std::string hiddenKg;
    std::optional<int> timeoutSeconds;
    std::optional<int> connectSeconds;
    int everySeconds = 0;
    std::uint64_t rounds = 0;
    std::vector<std::string> labels;
    bool fromEnvironment = false;
};

/// A flag that may be repeated; each takes the one word behind it.
CLI::Option* AddRepeatable(CLI::App& app, const std::string& names,
                           std::vector<std::string>& values, const std::string& help)
{
    return app.add_option(names, values, help)->allow_extra_args(false)->check(NotEmpty());
}

constexpr const char* kConnection = "Connection";
constexpr const char* kSeveral = "Several enclosures";
constexpr const char* kHidden = "";
constexpr const char* kIpmiOnly = "With -I lanplus";
constexpr const char* kHttpsOnly = "With -I https";
constexpr const char* kPageOnly = "With page";

void AddConnectionFlags(CLI::App& app, Options& options, Flags& flags)
{
    app.add_option("-I,--interface", flags.https, "lanplus (default) or https")
        ->transform(OneOf(kInterfaces))
        ->option_text("NAME")
        ->group(kConnection);
    AddRepeatable(app, "-H,--host", options.hosts, "Address or name of the module, or a pattern")
        ->check(HostName())
        ->option_text("HOST")
        ->group(kConnection);
    app.add_option("-p,--port", options.settings.port, "Port; default 623, with https 443")
        ->transform(NumberFrom(1, 65535))
        ->option_text("PORT")
        ->group(kConnection);
    app.add_option("-U,--user", options.settings.user, "User to log in as")
        ->check(NotEmpty())
        ->option_text("USER")
        ->group(kConnection);
    auto* password = app.add_option("-P,--password", flags.hiddenPassword,
                                    "Password; hidden once the program runs")
                         ->check(NotEmpty())
                         ->option_text("PASSWORD")
                         ->group(kConnection);
    auto* file = app.add_option("-f,--password-file", options.passwordFile,
                                "File whose first line is the password")
                     ->check(NotEmpty())
                     ->option_text("FILE")
                     ->group(kConnection);
    app.add_flag("-E,--password-env", flags.fromEnvironment,
                 "Password from the variable IPMI_PASSWORD")
        ->group(kConnection)
        ->excludes(password)
        ->excludes(file);
    file->excludes(password);
    app.add_option("--timeout", flags.timeoutSeconds, "Seconds for all of it; default 30")
        ->transform(NumberFrom(1, kLongestTimeout))
        ->option_text("S")
        ->group(kConnection);
}

CLI::Validator IsKeyAndValue()
{
    return CLI::Validator(
        [](const std::string& word) {
            const std::size_t end = word.find('=');
            const bool both = end != word.npos && end != 0;
            return both ? std::string() : "\"" + word + "\" is no KEY=VALUE";
        },
        "");
}

void AddFleetFlags(CLI::App& app, Options& options, Flags& flags)
{
    AddRepeatable(app, "-x,--exclude", options.without, "Hosts to leave out, as a pattern")
        ->option_text("HOST")
        ->group(kSeveral);
    app.add_option("--fleet", options.fleetFile, "Fleet file; default see vktinventory(1)")
        ->check(NotEmpty())
        ->option_text("FILE")
        ->group(kSeveral);
    auto* group = AddRepeatable(app, "--group", options.selection.groups,
                                "Hosts of a group of the fleet file")
                      ->option_text("GROUP")
                      ->group(kSeveral);
    AddRepeatable(app, "--label", flags.labels, "Hosts with this label in the fleet file")
        ->check(IsKeyAndValue())
        ->option_text("KEY=VALUE")
        ->group(kSeveral);
    app.add_flag("--all", options.selection.all, "All hosts of the fleet file")
        ->group(kSeveral)
        ->excludes(group);
    app.add_option("--connect-timeout", flags.connectSeconds,
                   "Seconds for the first answer; default 5")
        ->transform(NumberFrom(1, kLongestTimeout))
        ->option_text("S")
        ->group(kSeveral);
    app.add_flag("--keep-going", options.keepGoing, "Ask on with an account that three refused")
        ->group(kSeveral);
    app.add_option("--list-names", flags.listedNames, "For shells that complete a command line")
        ->transform(OneOf(kNameLists))
        ->group(kHidden);
    app.add_option("--fanout", options.fanOut, "How many to ask at a time; default 64")
        ->transform(NumberFrom(1, Fleet::kMostAtOnce))
        ->option_text("N")
        ->group(kSeveral);
}

void AddIpmiFlags(CLI::App& app, Flags& flags)
{
    app.add_option("-C,--cipher-suite", flags.cipherSuite,
                   "Cipher suite, 3 or 17; default 17, else 3")
        ->transform(OneOf(kCipherSuites))
        ->option_text("SUITE")
        ->group(kIpmiOnly);
    app.add_option("-L,--privilege", flags.privilege,
                   "At most USER, OPERATOR, ADMINISTRATOR (default)")
        ->transform(OneOf(kPrivileges))
        ->option_text("LEVEL")
        ->group(kIpmiOnly);
    app.add_option("-k,--kg", flags.hiddenKg, "The module's own key, text or 0x and hexadecimal")
        ->check(NotEmpty())
        ->option_text("KEY")
        ->group(kIpmiOnly);
}

void AddHttpsFlags(CLI::App& app, Flags& flags)
{
    auto* caFile =
        app.add_option("--ca-file", flags.caFile, "Authorities to trust, PEM; default the system's")
            ->check(NotEmpty())
            ->check(CLI::ExistingFile)
            ->option_text("FILE")
            ->group(kHttpsOnly);
    auto* pin = app.add_option("--pin", flags.pin, "Trust only this key: sha256//BASE64")
                    ->check(NotEmpty())
                    ->check(Pin())
                    ->option_text("PIN")
                    ->group(kHttpsOnly)
                    ->excludes(caFile);
    app.add_flag("--insecure", flags.insecure, "Trust any certificate; not for real passwords")
        ->group(kHttpsOnly)
        ->excludes(caFile)
        ->excludes(pin);
    app.add_option("--auth", flags.authentication, "session (default) or basic")
        ->transform(OneOf(kAuthentications))
        ->option_text("HOW")
        ->group(kHttpsOnly);
}

void AddOutputFlags(CLI::App& app, Options& options, Flags& flags)
{
    app.add_option("--format", options.format, "table (default), json, jsonl or csv")
        ->transform(OneOf(kFormats))
        ->option_text("FORMAT")
        ->group("Output");
    app.add_option("--fields", options.fields, "Columns of csv, such as host,power_average")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(NotEmpty())
        ->option_text("KEYS")
        ->group("Output");
    auto* every = app.add_option("--every", flags.everySeconds, "Seconds after which to read again")
                      ->transform(NumberFrom(1, kLongestTimeout))
                      ->option_text("S")
                      ->group("Output");
    app.add_option("--count", flags.rounds, "How often to read; else until Ctrl-C")
        ->transform(NumberFrom(1, kMostRounds))
        ->option_text("N")
        ->group("Output")
        ->needs(every);
    app.add_flag("-v,--verbose", options.verbosity,
                 "Log to standard error; -vv logs every exchange")
        ->group("Output");
}

void AddPageFlags(CLI::App& app, Options& options)
{
    app.add_option("--from", options.pageFrom,
                   "Make it from JSON in this file; - is standard input")
        ->check(NotEmpty())
        ->option_text("FILE")
        ->group(kPageOnly);
    app.add_option("-o,--output", options.output, "Write it to that file; default standard output")
        ->check(NotEmpty())
        ->option_text("FILE")
        ->group(kPageOnly);
}

constexpr Choice<Enclosures::Health> kCheckStates[] = {{"ok", Enclosures::Health::kOk},
                                                       {"warning", Enclosures::Health::kWarning},
                                                       {"critical", Enclosures::Health::kCritical},
                                                       {"unknown", Enclosures::Health::kUnknown}};
constexpr int kMostSupplies = 9;
constexpr int kMostNodes = 12;

void AddCheckFlags(CLI::App& check, Options& options)
{
    const auto addList = [&check](const char* names, std::vector<std::string>& list,
                                  const char* help) {
        return check.add_option(names, list, help)->allow_extra_args(false);
    };
    addList("-w,--warning", options.check.warning, "Warning when a number is outside RANGE")
        ->option_text("METRIC=RANGE");
    addList("-c,--critical", options.check.critical, "Critical when a number is outside RANGE")
        ->option_text("METRIC=RANGE");
    addList("--ignore", options.check.ignored, "Leave out PSU5, \"Node 4\", Chassis or Module")
        ->option_text("OBJECT");
    check.add_option("--expect-psus", options.check.expectedSupplies, "Power supplies there are")
        ->transform(NumberFrom(1, kMostSupplies))
        ->option_text("N");
    check.add_option("--expect-nodes", options.check.expectedNodes, "Nodes there are")
        ->transform(NumberFrom(1, kMostNodes))
        ->option_text("N");
    check
        .add_option("--unreachable", options.check.unreachable,
                    "State without a connection; default critical")
        ->transform(OneOf(kCheckStates))
        ->option_text("STATE");
    check
        .add_option_function<int>(
            "-t", [&options](const int& s) { options.check.timeout = std::chrono::seconds(s); },
            "Seconds for all of it; default 10")
        ->transform(NumberFrom(1, kLongestTimeout))
        ->option_text("S");
}

void AddCommand(CLI::App& app, Options& options, const Command& command)
{
    CLI::App* sub = app.add_subcommand(std::string(command.name), std::string(command.help));
    sub->fallthrough();
    sub->group("Commands");
    sub->footer("\nFlags of the connection and exit codes: vktinventory --help");
    if (command.largest == 0 && !command.operands.empty()) {
        // A name of an option has no blanks.
        const std::string name(command.operands.substr(0, command.operands.find(' ')));
        sub->add_option(name, options.operands, std::string(command.argument))->check(NotEmpty());
    } else if (command.largest != 0) {
        sub->add_option("N", options.number, std::string(command.argument))
            ->required()
            ->transform(NumberFrom(1, command.largest));
    }
    if (command.action == Action::kCheck) {
        AddCheckFlags(*sub, options);
    }
    sub->final_callback([&options, &command] { options.command = &command; });
}

/// The first flag of that group in the line, by its long name; empty when there is none.
std::string FirstOf(const std::string& group, const CLI::App& app)
{
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() != 0 && option->get_group() == group) {
            return option->get_name();
        }
    }
    return {};
}

std::optional<Fleet::TrustSetting> TrustOf(const Flags& flags)
{
    if (flags.insecure) {
        return Enclosures::TrustAnybody{};
    }
    if (!flags.pin.empty()) {
        return Enclosures::TrustPinnedKey{flags.pin};
    }
    if (!flags.caFile.empty()) {
        return Enclosures::TrustAuthorityFile{flags.caFile};
    }
    return std::nullopt;
}

template <class To>
std::optional<To> As(const std::optional<int>& number)
{
    return number ? std::optional(static_cast<To>(*number)) : std::nullopt;
}

Fleet::Settings SettingsOf(const Flags& flags, Fleet::Settings settings)
{
    settings.https = As<bool>(flags.https);
    settings.cipherSuite = As<std::uint8_t>(flags.cipherSuite);
    settings.privilege = As<Enclosures::Privilege>(flags.privilege);
    settings.trust = TrustOf(flags);
    settings.authentication = As<Enclosures::HttpAuthentication>(flags.authentication);
    settings.timeout = As<std::chrono::seconds>(flags.timeoutSeconds);
    settings.connectTimeout = As<std::chrono::seconds>(flags.connectSeconds);
    return settings;
}

void RequireHost(const Options& options)
{
    const Fleet::Selection& selection = options.selection;
    const bool named = !options.hosts.empty() || !options.operands.empty() || selection.all ||
                       !selection.groups.empty() || !selection.labels.empty() ||
                       options.command->action == Action::kDiff;
    if (!named) {
        throw CLI::ValidationError(
            "-H HOST is missing: the address or name of the module; --all, --group and --label "
            "take hosts from the fleet file");
    }
}

void RequireFittingFormat(const Options& options, const Flags& flags)
{
    if (options.format == Format::kJson && flags.everySeconds != 0) {
        throw CLI::ValidationError("--every", "goes with table, jsonl and csv, not with json");
    }
    if (!options.fields.empty() && options.format != Format::kCsv) {
        throw CLI::ValidationError("--fields", "goes only with --format csv");
    }
}

/// Whether it prints one thing once, in a format of its own.
bool HasOneFormat(Action action)
{
    return action == Action::kPins || action == Action::kHosts || action == Action::kDiff ||
           action == Action::kCheck;
}

/// Of JSON that was read before nobody is asked; a page has one format, and so have others, of
/// which pins are no matter of trust.
void RefuseFlagsForAnotherUse(const CLI::App& app, const Options& options)
{
    const bool page = options.command->action == Action::kMakePage;
    const bool pins = options.command->action == Action::kPins;
    const bool oneFormat = HasOneFormat(options.command->action);
    for (const CLI::Option* option : app.get_options()) {
        const std::string& group = option->get_group();
        const bool asks = group == kConnection || group == kSeveral || group == kIpmiOnly ||
                          group == kHttpsOnly || option->check_lname("every");
        if (option->count() == 0) {
            continue;
        }
        if (!page && group == kPageOnly) {
            throw CLI::ValidationError(option->get_name(), "goes only with page");
        }
        if (page && option->check_lname("format")) {
            throw CLI::ValidationError(option->get_name(), "does not go with page");
        }
        const bool shapes = option->check_lname("format") || option->check_lname("every");
        const bool trusts = group == kIpmiOnly || group == kHttpsOnly;
        if ((oneFormat && shapes) || (pins && trusts)) {
            throw CLI::ValidationError(option->get_name(),
                                       "does not go with " + std::string(options.command->name));
        }
        if (asks && !options.pageFrom.empty()) {
            throw CLI::ValidationError(option->get_name(), "does not go with --from");
        }
    }
}

PasswordSource SourceOf(const CLI::App& app, const Flags& flags)
{
    if (flags.fromEnvironment) {
        return PasswordSource::kEnvironment;
    }
    if (app.count("--password-file") != 0) {
        return PasswordSource::kFile;
    }
    return app.count("--password") != 0 ? PasswordSource::kArgument : PasswordSource::kTerminal;
}

void Complete(const CLI::App& app, const Flags& flags, Options& options)
{
    if (options.command == nullptr) {
        options.command = kCommands;
    }
    for (const std::string& label : flags.labels) {
        const std::size_t end = label.find('=');
        options.selection.labels.push_back({label.substr(0, end), label.substr(end + 1)});
    }
    RefuseFlagsForAnotherUse(app, options);
    options.listedNames = As<NameList>(flags.listedNames);
    if (options.pageFrom.empty() && !options.listedNames) {
        RequireHost(options);
    }
    RequireFittingFormat(options, flags);
    if (options.command->action == Action::kMakePage) {
        options.format = Format::kJsonLines;  // what it is made of; a table would begin with a time
    }
    options.lanplusFlag = FirstOf(kIpmiOnly, app);
    options.httpsFlag = FirstOf(kHttpsOnly, app);
    options.settings = SettingsOf(flags, std::move(options.settings));
    if (options.check.timeout.count() != 0) {
        options.settings.timeout = options.check.timeout;
    }
    if (flags.everySeconds != 0) {
        options.repetition.emplace().every = std::chrono::seconds(flags.everySeconds);
    }
    if (flags.rounds != 0) {
        options.repetition->count = flags.rounds;
    }
    options.passwordSource = SourceOf(app, flags);
}

void Describe(CLI::App& app, Options& options, Flags& flags)
{
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("-V,--version", "vktinventory " VKT_VERSION, "Print the version and end");
    app.formatter(std::make_shared<HelpFormatter>());
    AddConnectionFlags(app, options, flags);
    AddFleetFlags(app, options, flags);
    AddIpmiFlags(app, flags);
    AddHttpsFlags(app, flags);
    AddOutputFlags(app, options, flags);
    AddPageFlags(app, options);
    for (const Command& command : kCommands) {
        AddCommand(app, options, command);
    }
    app.require_subcommand(0, 1);
    app.footer("\n" + std::string(kPasswordHelp) + "\n\n" + ExamplesHelp() + "\n" + ExitCodeHelp());
}

EarlyExit Misuse(const std::string& reason)
{
    return {ExitCode::kWrongUsage, reason + "; see vktinventory --help"};
}

EarlyExit EarlyExitOf(const CLI::App& app, const CLI::ParseError& error)
{
    std::ostringstream out;
    std::ostringstream complaint;
    if (app.exit(error, out, complaint) == 0) {
        return {ExitCode::kEverythingRead, out.str()};
    }
    return Misuse(Explain(app, error));
}

/// For "--pin=" CLI11 takes the next word, whatever it is.
bool EndsWithItsEqualsSign(const std::string& word)
{
    return word.substr(0, 2) == "--" && word.find('=') == word.size() - 1;
}

}  // namespace

std::variant<Options, EarlyExit> ParseCommandLine(const std::vector<std::string>& words)
{
    const auto empty = std::find_if(words.begin(), words.end(), EndsWithItsEqualsSign);
    if (empty != words.end()) {
        return Misuse(*empty + ' ' + kMustNotBeEmpty);
    }
    Options options;
    Flags flags;
    CLI::App app(kAbout, kName);
    Describe(app, options, flags);
    if (const std::string misuse = MisuseIn(app, words); !misuse.empty()) {
        return Misuse(misuse);
    }
    std::vector<std::string> reversed(words.rbegin(), words.rend());
    try {
        app.parse(reversed);
        Complete(app, flags, options);
    } catch (const CLI::ParseError& error) {
        return EarlyExitOf(app, error);
    }
    return options;
}

bool IsCheck(const std::vector<std::string>& words)
{
    bool isCheck = false;
    ShowParser([&](const CLI::App& app) { isCheck = CommandIn(app, words) == "check"; });
    return isCheck;
}

void ShowParser(const std::function<void(const CLI::App&)>& describe)
{
    Options options;
    Flags flags;
    CLI::App app(kAbout, kName);
    Describe(app, options, flags);
    describe(app);
}

}  // namespace Tulvo::Cli
