// What iscsictl prints: aligned tables and records for people, the API's data as JSON for
// scripts (--json), ids only (-q); sizes in binary units and parsed from them.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace iscsictl {

enum class OutputMode { Human, Json, Quiet };

// The output mode of this run (set from --json and -q).
OutputMode& Mode();

// "10G", "512M", "1.5T", "4096", "10GiB": a byte count (powers of 1024); a usage failure
// otherwise.
std::uint64_t ParseSize(const std::string& text);
// 1073741824 -> "1.0 GiB"; below 1 KiB in bytes ("512 B").
std::string FormatSize(std::uint64_t bytes);

// A value given on the command line: JSON when it parses as JSON, a string otherwise.
Json::Value ParseValue(const std::string& text);
// KEY=VALUE items into params (ParseValue for each value); a usage failure for an item
// without "=".
void AddParams(Json::Value& params, const std::vector<std::string>& items);

// A value as a cell or line of text: strings as they are, numbers exactly, arrays and objects
// as compact JSON, null as "-".
std::string Text(const Json::Value& value);

// Prints a JSON value (indented, integers exact).
void PrintJson(const Json::Value& value);

struct Column {
    std::string header;
    std::string key; // member of a row; "a.b" reaches into an object
    // Optional formatting of the member's value.
    std::function<std::string(const Json::Value&)> format;
};
// A column whose value is a byte count, printed as FormatSize.
Column SizeColumn(const std::string& header, const std::string& key);
// A column whose value is a time in seconds since the epoch, printed as local time.
Column TimeColumn(const std::string& header, const std::string& key);

// Prints data by the output mode: Json prints data as it came, Quiet prints idKey of each
// row, Human prints an aligned table of the columns.
void PrintTable(const Json::Value& data, const Json::Value& rows, const std::vector<Column>& columns,
                const std::string& idKey);
// Prints one object: Json prints data, Quiet the member idKey of record, Human "key: value"
// lines of record (nested objects as key.member).
void PrintRecord(const Json::Value& data, const Json::Value& record, const std::string& idKey);
// Prints the result of a change: Json prints data, Quiet prints the member idKey of data
// (nothing when there is none), Human prints message.
void PrintDone(const Json::Value& data, const std::string& idKey, const std::string& message);

} // namespace iscsictl
