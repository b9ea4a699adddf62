// SPDX-License-Identifier: Apache-2.0
#include "apps/vktinventory/render_json.h"

#include <nlohmann/json.hpp>

#include "apps/vktinventory/result_names.h"

namespace Tulvo::Cli {
namespace {

/// UTF-8 in which each byte is the character with the same number (U+0000 to U+00FF): a text of the
/// module may hold any byte; the JSON stays valid, and no byte is lost.
std::string BytesAsUtf8(std::string_view bytes)
{
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            text += character;
        } else {
            text += static_cast<char>(0xC0U | (byte >> 6U));
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

using Json = nlohmann::ordered_json;

constexpr int kSchemaVersion = 1;

struct DatumToJson
{
    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(const std::string& text) const { return BytesAsUtf8(text); }
    Json operator()(std::int64_t number) const { return number; }
    Json operator()(bool flag) const { return flag; }
};

Json JsonOf(const Cell& cell)
{
    return std::visit(DatumToJson(), cell.datum);
}

Json JsonOf(const Record& record)
{
    Json object = Json::object();
    for (const Cell& cell : record) {
        object[std::string(cell.key)] = JsonOf(cell);
    }
    return object;
}

Json JsonOf(const std::vector<Record>& records)
{
    Json list = Json::array();
    for (const Record& record : records) {
        list.push_back(JsonOf(record));
    }
    return list;
}

Json DataOf(Shape shape, const Reply& reply)
{
    if (!reply.read) {
        return nullptr;
    }
    switch (shape) {
        case Shape::kText:
            return JsonOf(reply.records.front().front());
        case Shape::kList:
            return JsonOf(reply.records);
        default:
            return JsonOf(reply.records.front());
    }
}

Json JsonOf(const Query& query, const Answer& answer)
{
    Json object = Json::object();
    if (query.shape == Shape::kNode) {
        object["node"] = answer.number;
    }
    if (query.shape == Shape::kAction) {
        object["number"] = answer.number;
    }
    object["result"] = NameOf(answer.reply.result).name;
    if (query.shape != Shape::kAction) {
        object["data"] = DataOf(query.shape, answer.reply);
    }
    return object;
}

Json JsonOf(const Asked& asked)
{
    if (asked.query->shape != Shape::kNode) {
        return JsonOf(*asked.query, asked.answers.front());
    }
    Json list = Json::array();
    for (const Answer& answer : asked.answers) {
        list.push_back(JsonOf(*asked.query, answer));
    }
    return list;
}

Json JsonOf(const Target& target)
{
    return {{"interface", target.interface},
            {"address", BytesAsUtf8(target.address)},
            {"port", target.port}};
}

}  // namespace

std::string RenderJson(const Report& report)
{
    Json queries = Json::object();
    for (const Asked& asked : report.asked) {
        queries[std::string(asked.query->key)] = JsonOf(asked);
    }
    const Json document = {{"schemaVersion", kSchemaVersion},
                           {"command", report.command->name},
                           {"module", JsonOf(report.target)},
                           {"moduleStatusRead", report.moduleStatusRead},
                           {"queries", queries}};
    constexpr int indent = 2;
    constexpr bool asciiOnly = true;
    return document.dump(indent, ' ', asciiOnly) + "\n";
}

}  // namespace Tulvo::Cli
