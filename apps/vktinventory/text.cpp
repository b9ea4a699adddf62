// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/text.h"

namespace Tulvo::Cli {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

void AppendPrintable(std::string& text, unsigned char byte)
{
    if (byte >= 0x20 && byte <= 0x7E) {
        text += static_cast<char>(byte);
        return;
    }
    text += "\\x";
    text += kHexDigits[byte >> 4U];
    text += kHexDigits[byte & 0x0FU];
}

void AppendUtf8(std::string& text, unsigned char byte)
{
    if (byte < 0x80) {
        text += static_cast<char>(byte);
        return;
    }
    text += static_cast<char>(0xC0U | (byte >> 6U));
    text += static_cast<char>(0x80U | (byte & 0x3FU));
}

}  // namespace

std::string Printable(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        AppendPrintable(text, static_cast<unsigned char>(byte));
    }
    return text;
}

std::string BytesAsUtf8(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        AppendUtf8(text, static_cast<unsigned char>(byte));
    }
    return text;
}

}  // namespace Tulvo::Cli
