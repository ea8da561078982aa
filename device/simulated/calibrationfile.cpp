// A file that is no calibration of the device is named with the reason; one is written whole or not at all.
#include "calibrationfile.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "device/foreign.h"
#include "jsontext.h"
#include "say.h"

namespace arm {
namespace {

constexpr long kLargestOffset = 1000000;
constexpr std::size_t kLargestFile = 64 * 1024;

std::string pathOf(const std::string& name) { return dataHome() + "/config/THARLeN Calibration (" + name + ")"; }

}  // namespace

CalibrationFile readCalibration(const std::string& name, const std::string& serial, Offsets& offsets,
                                std::string& why) {
    if (dataHome().empty()) {
        why = "KNDD_HOME is not set: there is no calibration file";
        return CalibrationFile::Missing;
    }
    const std::string path = pathOf(name), shown = foreign::printable(path);
    const foreign::FileText file = foreign::readFile(path, kLargestFile);
    if (!file.there || !file.why.empty()) {
        why = shown + ": " + (file.why.empty() ? "is not there" : file.why);
        return file.there ? CalibrationFile::Bad : CalibrationFile::Missing;
    }
    nlohmann::json json;
    try {
        json = parseJson(file.text);
    } catch (const nlohmann::json::exception&) {
        json = nullptr;
    } catch (const std::runtime_error& error) {
        why = shown + ": " + error.what();
        return CalibrationFile::Bad;
    }
    const auto field = [&json](const char* key) {
        return json.is_object() ? json.value(key, nlohmann::json()) : nlohmann::json();
    };
    const nlohmann::json list = field("offsets");
    if (file.text.size() > kLargestFile || !list.is_array() || list.size() != kBase || !field("device").is_string()
        || !field("serial").is_string()) {
        why = shown + ": is not a calibration";
        return CalibrationFile::Bad;
    }
    if (field("device") != name || field("serial") != serial) {
        why = shown + ": belongs to another device";
        return CalibrationFile::Bad;
    }
    for (int i = 0; i < kBase; ++i) {
        if (!list[i].is_number_integer() || list[i].get<double>() > kLargestOffset
            || list[i].get<double>() < -kLargestOffset) {
            why = shown + ": offset " + std::to_string(i) + " is not a count within a million";
            return CalibrationFile::Bad;
        }
        offsets[i] = list[i].get<long>();
    }
    return CalibrationFile::Good;
}

std::string writeCalibration(const std::string& name, const std::string& serial, const Offsets& offsets) {
    if (dataHome().empty())
        return "KNDD_HOME is not set";
    const nlohmann::json json = {{"device", name}, {"serial", serial}, {"offsets", offsets}};
    const std::string path = pathOf(name), fresh = path + ".new";
    // Written beside and renamed, so that a reader never meets half a file. What has that name does not get it: a
    // FIFO would hold the writer for ever.
    ::unlink(fresh.c_str());
    {
        std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
        file << json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
        file.close();
        if (!file)
            return foreign::printable(path) + ": cannot be written";
    }
    if (std::rename(fresh.c_str(), path.c_str()) != 0) {
        std::remove(fresh.c_str());
        return foreign::printable(path) + ": cannot be written";
    }
    return "";
}

}  // namespace arm
