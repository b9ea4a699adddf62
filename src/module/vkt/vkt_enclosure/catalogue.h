// SPDX-License-Identifier: Apache-2.0
/// @file
/// Everything that can be read of an enclosure, as one table. Tables, JSON, CSV, metrics, the page
/// and their documentation are made from it: a value is named here and nowhere else.
///
/// Not installed: it serves this project's own programs.
#ifndef MODULE_VKT_VKT_ENCLOSURE_CATALOGUE_H
#define MODULE_VKT_VKT_ENCLOSURE_CATALOGUE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "common/platform/export.h"
#include "module/vkt/vkt_enclosure/enclosure.h"
#include "module/vkt/vkt_enclosure/health.h"

namespace Tulvo::Enclosures {

/// The module has status bits for so many supplies.
inline constexpr std::uint8_t kSuppliesWithBits = 8;

/// What a value belongs to.
enum class ObjectKind : std::uint8_t
{
    kEnclosure,
    kPowerSupply,
    kNode,
};

/// One of the things that have values. Borrows from the record.
struct VKT_EXPORT Object
{
    const Enclosure& enclosure;
    const PowerSupply* powerSupply = nullptr;
    const Node* node = nullptr;

    ObjectKind Kind() const;
};

/// A state has a word for programs and one for people.
struct StateWord
{
    std::uint8_t state;  ///< The enumerator, or 1 and 0 of a flag.
    std::string_view
        key;  ///< JSON and metrics: "noPermission". Of a flag empty: it is true or false.
    std::string_view shown;  ///< Tables: "No Permission".
};

enum class Kind : std::uint8_t
{
    kNumber,
    kIdentifier,  ///< A number that people know in hexadecimal.
    kText,
    kFlag,
    kState,
};

struct NotAsked
{
};
struct Absent
{
};

/// One value of one object; of a kState the word.
using Datum = std::variant<NotAsked, Absent, const Failure*, std::int64_t, std::string, bool,
                           const StateWord*>;

/// How a value becomes a Prometheus metric.
enum class MetricForm : std::uint8_t
{
    kNone,
    kGauge,   ///< A number, or 1 and 0 of a flag, under the field's key.
    kStates,  ///< For each of its words 1 or 0, the word as the label "state".
    kInfo,  ///< A label of "info", "psu_info" or "node_info", named as the last member of its path.
};

/// Where a value is given; combine with |.
using Places = std::uint8_t;
inline constexpr Places kInTable = 1U << 0U;
inline constexpr Places kInJson = 1U << 1U;
inline constexpr Places kInCsv = 1U << 2U;
inline constexpr Places kInData = kInJson | kInCsv;
inline constexpr Places kEverywhere = kInTable | kInData;

struct VKT_EXPORT Field
{
    ObjectKind object;
    Sections section;       ///< Which section has it read; 0 is the module's own status.
    std::string_view path;  ///< The JSON members down to it: "fans.a.speed".
    /// Its name among all: CSV's column, the metric after "vkt_", what `check` calls it.
    std::string_view key;
    /// Of several values with one answer, in Missing and Finding; else empty: the last of `path`.
    std::string_view answer;
    std::string_view label;  ///< Heading in tables.
    Kind kind;
    Places places;
    MetricForm metric;
    std::string_view help;  ///< What it is, in one sentence.
    Datum (*get)(const Object&);
    /// A kState's words, the one of no known code last; a kFlag's for people.
    std::span<const StateWord> words = {};

    /// What Missing and Finding call it.
    std::string_view Name() const;
    /// The last member of `path`.
    std::string_view Member() const;
    /// The metric after "vkt_": `key`, but both fans of a supply share one.
    std::string_view MetricName() const;
    /// The label "fan" of its metric: 'a' or 'b'; 0 of every other field.
    char Fan() const;
};

/// All fields, in the order in which they are given.
VKT_EXPORT std::span<const Field> Fields();

/// A block of a table.
struct Block
{
    Sections sections;
    ObjectKind object;
    std::string_view heading;
};

VKT_EXPORT std::span<const Block> Blocks();

/// The enclosure, its supplies, its nodes. The record must outlive them.
VKT_EXPORT std::vector<Object> ObjectsOf(const Enclosure& enclosure);

/// "PSU3", "Node 4"; of the enclosure "Module" or "Chassis", by what tells the field.
VKT_EXPORT std::string NameOf(const Object& object, const Field& field);

}  // namespace Tulvo::Enclosures

#endif
