// SPDX-License-Identifier: Apache-2.0
#include <spdlog/sinks/ostream_sink.h>

#include <sstream>

#include "common/log/text_sink.h"
#include "common/text/printable.h"
#include "fuzz/input_reader.h"
#include "fuzz/played_answers.h"
#include "fuzz/require.h"
#include "fuzz/targets/targets.h"

namespace Tulvo::Fuzz {

namespace {

struct Form
{
    unsigned mask;  ///< Of the first byte: which of its bits tell the length.
    unsigned mark;  ///< What these bits are.
    std::size_t length;
    char32_t lowest;  ///< A lower code point has a shorter form.
};

constexpr Form kForms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

bool IsPrintable(char32_t character)
{
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    return character == '\n' || character == '\t' ||
           (!isControl && !isSurrogate && character <= 0x10FFFF);
}

/// Takes the first character of a text that is not empty, and says whether it may stand in a log.
bool TakePrintable(std::string_view& text)
{
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (const Form& form : kForms) {
        if ((byte(0) & form.mask) != form.mark || text.size() < form.length) {
            continue;
        }
        char32_t character = byte(0) & ~form.mask & 0xFFU;
        for (std::size_t at = 1; at < form.length; ++at) {
            if ((byte(at) & 0xC0U) != 0x80U) {
                return false;
            }
            character = character << 6U | (byte(at) & 0x3FU);
        }
        text.remove_prefix(form.length);
        return character >= form.lowest && IsPrintable(character);
    }
    return false;
}

void RequirePrintable(std::string_view text)
{
    while (!text.empty()) {
        Require(TakePrintable(text), "all that is written is printable UTF-8");
    }
}

/// What a sink writes of a record, without the time.
std::string Written(const LogRecord& record)
{
    std::ostringstream stream;
    spdlog::sinks::ostream_sink_st sink(stream);
    sink.set_pattern("%v");
    Logging::WriteRecord(sink, record);
    return std::move(stream).str();
}

void RequireOneRecord(std::string_view written)
{
    RequirePrintable(written);
    Require(written.find(" src/f.cpp:12: ") < 10, "a record begins with level and place");
    for (std::size_t end = written.find('\n'); end + 1 < written.size();
         end = written.find('\n', end + 1)) {
        Require(written.substr(end + 1, 4) == "    ", "no further line begins like a record");
    }
    Require(written.ends_with('\n'), "a record ends with its line");
}

}  // namespace

void RunLogText(Input input)
{
    InputReader reader(input);
    const int level = reader.Byte() % 6;
    const ExactText text(reader.Rest());
    const std::string printable = Text::PrintableText(text.View());
    RequirePrintable(printable);
    Require(Text::PrintableText(printable) == printable, "what is printable stays as it is");
    Require(printable.size() >= text.View().size() && printable.size() <= 4 * text.View().size(),
            "a byte is kept or becomes four characters");

    RequireOneRecord(Written({level, "src/f.cpp", 12, std::string(text.View())}));
    RequireOneRecord(Written({level, "src/f.cpp", 12, "text", std::string(text.View())}));
}

// The input is a byte for the level, and the text.
std::vector<Bytes> LogTextSeeds()
{
    std::vector<Bytes> seeds = {
        AsBytes("\x01name\n2026-11-20T23:50:05.123+00:00 error src/f.cpp:1: all is well"),
        AsBytes("\x02\x1b[31mred\x9b\x7f\r\t\xc2\x9b\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"),
    };
    for (const PlayedAnswer& played : PlayedAnswers()) {
        seeds.push_back(Bytes{4} + played.answer.bytes);
    }
    return seeds;
}

}  // namespace Tulvo::Fuzz
