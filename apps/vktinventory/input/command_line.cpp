// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/input/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <sstream>

#include "apps/vktinventory/input/misuse.h"
#include "apps/vktinventory/input/suggestion.h"
#include "common/text/pin.h"

namespace Tulvo::Cli {
namespace {

constexpr std::uint16_t kIpmiPort = 623;
constexpr std::uint16_t kHttpsPort = 443;
constexpr int kLongestTimeout = 86400;

template <class T>
struct Choice
{
    std::string_view name;
    T value;
};

constexpr Choice<TulvoConnection::ConnectionType> kInterfaces[] = {
    {"lanplus", TulvoConnection::kConnectOverRmcpPlus},
    {"https", TulvoConnection::kConnectOverHttps}};
constexpr Choice<Format> kFormats[] = {{"table", Format::kTable}, {"json", Format::kJson}};
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
    return std::string(command.name) + (command.argument.empty() ? "" : " N");
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
        return "Usage: vktinventory -H HOST [FLAG]... " + words + "\n";
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
    std::string hiddenPassword;
    std::string hiddenKg;
    int timeoutSeconds = 0;
    bool fromEnvironment = false;
};

constexpr const char* kConnection = "Connection";
constexpr const char* kIpmiOnly = "With -I lanplus";
constexpr const char* kHttpsOnly = "With -I https";

void AddConnectionFlags(CLI::App& app, Options& options, Flags& flags)
{
    app.add_option("-I,--interface", options.interface, "lanplus (default) or https")
        ->transform(OneOf(kInterfaces))
        ->option_text("NAME")
        ->group(kConnection);
    app.add_option("-H,--host", options.host, "Address or name of the module; required")
        ->check(NotEmpty())
        ->check(HostName())
        ->option_text("HOST")
        ->group(kConnection);
    app.add_option("-p,--port", options.port, "Port; default 623, with https 443")
        ->transform(NumberFrom(1, 65535))
        ->option_text("PORT")
        ->group(kConnection);
    app.add_option("-U,--user", options.user, "User to log in as")
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

void AddIpmiFlags(CLI::App& app, Options& options, Flags& flags)
{
    app.add_option("-C,--cipher-suite", options.cipherSuite,
                   "Cipher suite, 3 or 17; default 17, else 3")
        ->transform(OneOf(kCipherSuites))
        ->option_text("SUITE")
        ->group(kIpmiOnly);
    app.add_option("-L,--privilege", options.privilege,
                   "At most USER, OPERATOR, ADMINISTRATOR (default)")
        ->transform(OneOf(kPrivileges))
        ->option_text("LEVEL")
        ->group(kIpmiOnly);
    app.add_option("-k,--kg", flags.hiddenKg, "The module's own key, text or 0x and hexadecimal")
        ->check(NotEmpty())
        ->option_text("KEY")
        ->group(kIpmiOnly);
}

void AddHttpsFlags(CLI::App& app, Options& options)
{
    auto* caFile = app.add_option("--ca-file", options.caFile,
                                  "Authorities to trust, PEM; default the system's")
                       ->check(NotEmpty())
                       ->check(CLI::ExistingFile)
                       ->option_text("FILE")
                       ->group(kHttpsOnly);
    auto* pin = app.add_option("--pin", options.pin, "Trust only this key: sha256//BASE64")
                    ->check(NotEmpty())
                    ->check(Pin())
                    ->option_text("PIN")
                    ->group(kHttpsOnly)
                    ->excludes(caFile);
    app.add_flag("--insecure", options.insecure, "Trust any certificate; not for real passwords")
        ->group(kHttpsOnly)
        ->excludes(caFile)
        ->excludes(pin);
    app.add_option("--auth", options.authentication, "session (default) or basic")
        ->transform(OneOf(kAuthentications))
        ->option_text("HOW")
        ->group(kHttpsOnly);
}

void AddOutputFlags(CLI::App& app, Options& options)
{
    app.add_option("--format", options.format, "table (default) or json")
        ->transform(OneOf(kFormats))
        ->option_text("FORMAT")
        ->group("Output");
    app.add_flag("-v,--verbose", options.verbosity, "Log to standard error; -vv logs every byte")
        ->group("Output");
}

void AddCommand(CLI::App& app, Options& options, const Command& command)
{
    CLI::App* sub = app.add_subcommand(std::string(command.name), std::string(command.help));
    sub->fallthrough();
    sub->group("Commands");
    sub->footer("\nFlags of the connection and exit codes: vktinventory --help");
    if (!command.argument.empty()) {
        sub->add_option("N", options.number, std::string(command.argument))
            ->required()
            ->transform(NumberFrom(1, command.largest));
    }
    sub->final_callback([&options, &command] { options.command = &command; });
}

/// Flags of one interface make no sense with the other; silence would let a typing error decide how
/// a certificate is checked.
void RefuseFlagsOfTheOther(const CLI::App& app, const Options& options)
{
    const bool https = options.interface == TulvoConnection::kConnectOverHttps;
    const std::string foreign = https ? kIpmiOnly : kHttpsOnly;
    const std::string reason = https ? "does not go with -I https" : "goes only with -I https";
    for (const CLI::Option* option : app.get_options()) {
        if (option->count() != 0 && option->get_group() == foreign) {
            throw CLI::ValidationError(option->get_name(), reason);
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
    if (options.host.empty()) {
        throw CLI::ValidationError("-H HOST is missing: the address or name of the module");
    }
    RefuseFlagsOfTheOther(app, options);
    options.passwordSource = SourceOf(app, flags);
    if (flags.timeoutSeconds != 0) {
        options.timeout = std::chrono::seconds(flags.timeoutSeconds);
    }
    if (options.port == 0) {
        options.port =
            options.interface == TulvoConnection::kConnectOverRmcpPlus ? kIpmiPort : kHttpsPort;
    }
    if (options.command == nullptr) {
        options.command = kCommands;
    }
}

void Describe(CLI::App& app, Options& options, Flags& flags)
{
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("-V,--version", "vktinventory " VKT_VERSION, "Print the version and end");
    app.formatter(std::make_shared<HelpFormatter>());
    AddConnectionFlags(app, options, flags);
    AddIpmiFlags(app, options, flags);
    AddHttpsFlags(app, options);
    AddOutputFlags(app, options);
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

void ShowParser(const std::function<void(const CLI::App&)>& describe)
{
    Options options;
    Flags flags;
    CLI::App app(kAbout, kName);
    Describe(app, options, flags);
    describe(app);
}

}  // namespace Tulvo::Cli
