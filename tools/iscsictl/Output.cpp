#include "Output.h"

#include "ApiClient.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>

namespace iscsictl {

OutputMode& Mode()
{
    static OutputMode mode = OutputMode::Human;
    return mode;
}

std::uint64_t ParseSize(const std::string& text)
{
    size_t used = 0;
    double number = 0;
    try {
        number = std::stod(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    std::string unit = text.substr(used);
    if (unit.size() > 1 && (unit.back() == 'B' || unit.back() == 'b'))
        unit.pop_back();
    if (unit.size() == 2 && (unit[1] == 'i' || unit[1] == 'I'))
        unit.pop_back();
    static const std::string units = "KMGTP";
    double factor = 1;
    if (unit.size() == 1) {
        const size_t at = units.find(static_cast<char>(std::toupper(static_cast<unsigned char>(unit[0]))));
        if (at == std::string::npos)
            used = 0;
        else
            factor = std::pow(1024.0, static_cast<double>(at + 1));
    } else if (!unit.empty()) {
        used = 0;
    }
    const double bytes = number * factor;
    if (used == 0 || !(bytes >= 0) || bytes >= 18446744073709551615.0 ||
        text.find_first_of("eExX") != std::string::npos)
        throw Failure(EXIT_USAGE, "not a size: '" + text + "' (use bytes or a unit: 512M, 10G, 1.5T)");
    return static_cast<std::uint64_t>(std::llround(bytes));
}

std::string FormatSize(std::uint64_t bytes)
{
    static const char* units[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024)
        return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes);
    int unit = 0;
    while (value >= 1024 && unit < 6) {
        value /= 1024;
        ++unit;
    }
    char out[32];
    std::snprintf(out, sizeof out, "%.1f %s", value, units[unit]);
    return out;
}

Json::Value ParseValue(const std::string& text)
{
    Json::CharReaderBuilder builder;
    // "903b0b3e-..." is a text, not the number 903 followed by extra characters.
    builder["failIfExtra"] = true;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (!text.empty() && reader->parse(text.data(), text.data() + text.size(), &value, nullptr))
        return value;
    return Json::Value(text);
}

void AddParams(Json::Value& params, const std::vector<std::string>& items)
{
    for (const std::string& item : items) {
        const size_t eq = item.find('=');
        if (eq == std::string::npos || eq == 0)
            throw Failure(EXIT_USAGE, "not a parameter: '" + item + "' (expected KEY=VALUE)");
        params[item.substr(0, eq)] = ParseValue(item.substr(eq + 1));
    }
}

std::string Text(const Json::Value& value)
{
    if (value.isNull())
        return "-";
    if (value.isString())
        return value.asString();
    if (value.isBool())
        return value.asBool() ? "yes" : "no";
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

void PrintJson(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    std::cout << Json::writeString(builder, value) << "\n";
}

Column SizeColumn(const std::string& header, const std::string& key)
{
    return {header, key, [](const Json::Value& v) { return v.isNull() ? "-" : FormatSize(v.asUInt64()); }};
}

Column TimeColumn(const std::string& header, const std::string& key)
{
    return {header, key, [](const Json::Value& value) {
                if (!value.isIntegral())
                    return Text(value);
                const std::time_t when = static_cast<std::time_t>(value.asInt64());
                std::tm local{};
                char out[32];
                if (!::localtime_r(&when, &local) ||
                    !std::strftime(out, sizeof out, "%Y-%m-%d %H:%M:%S", &local))
                    return Text(value);
                return std::string(out);
            }};
}

namespace {

const Json::Value& Member(const Json::Value& row, const std::string& key)
{
    static const Json::Value none;
    const Json::Value* at = &row;
    size_t start = 0;
    while (true) {
        const size_t dot = key.find('.', start);
        const std::string part =
            key.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
        if (!at->isObject() || !at->isMember(part))
            return none;
        at = &(*at)[part];
        if (dot == std::string::npos)
            return *at;
        start = dot + 1;
    }
}

void Flatten(const std::string& prefix, const Json::Value& value,
             std::vector<std::pair<std::string, std::string>>& out)
{
    if (value.isObject() && !value.empty()) {
        for (const std::string& name : value.getMemberNames())
            Flatten(prefix.empty() ? name : prefix + "." + name, value[name], out);
        return;
    }
    out.emplace_back(prefix, Text(value));
}

} // namespace

void PrintTable(const Json::Value& data, const Json::Value& rows, const std::vector<Column>& columns,
                const std::string& idKey)
{
    if (Mode() == OutputMode::Json) {
        PrintJson(data);
        return;
    }
    if (Mode() == OutputMode::Quiet) {
        for (const Json::Value& row : rows)
            std::cout << Text(Member(row, idKey)) << "\n";
        return;
    }
    std::vector<std::vector<std::string>> cells;
    std::vector<size_t> widths;
    cells.emplace_back();
    for (const Column& column : columns) {
        cells.back().push_back(column.header);
        widths.push_back(column.header.size());
    }
    for (const Json::Value& row : rows) {
        cells.emplace_back();
        for (size_t i = 0; i < columns.size(); ++i) {
            const Json::Value& value = Member(row, columns[i].key);
            std::string cell = columns[i].format ? columns[i].format(value) : Text(value);
            widths[i] = std::max(widths[i], cell.size());
            cells.back().push_back(std::move(cell));
        }
    }
    for (const auto& line : cells) {
        std::string text;
        for (size_t i = 0; i < line.size(); ++i) {
            text += line[i];
            if (i + 1 < line.size())
                text += std::string(widths[i] - line[i].size() + 2, ' ');
        }
        std::cout << text << "\n";
    }
}

void PrintRecord(const Json::Value& data, const Json::Value& record, const std::string& idKey)
{
    if (Mode() == OutputMode::Json) {
        PrintJson(data);
        return;
    }
    if (Mode() == OutputMode::Quiet) {
        std::cout << Text(Member(record, idKey)) << "\n";
        return;
    }
    std::vector<std::pair<std::string, std::string>> lines;
    Flatten("", record, lines);
    size_t width = 0;
    for (const auto& line : lines)
        width = std::max(width, line.first.size());
    for (const auto& line : lines)
        std::cout << line.first << ":" << std::string(width - line.first.size() + 1, ' ') << line.second
                  << "\n";
}

void PrintDone(const Json::Value& data, const std::string& idKey, const std::string& message)
{
    if (Mode() == OutputMode::Json) {
        PrintJson(data);
        return;
    }
    if (Mode() == OutputMode::Quiet) {
        if (!idKey.empty() && data.isObject() && data.isMember(idKey))
            std::cout << Text(data[idKey]) << "\n";
        return;
    }
    if (!message.empty())
        std::cout << message << "\n";
}

} // namespace iscsictl
