// The file itself and the store: what needs no arm.
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "bench.h"

namespace librarycheck {
namespace {

constexpr char kSoname[] = "libTharlenIOLib42.so";
constexpr unsigned char kUntouched = 0xA5;
constexpr std::size_t kBehind = 256;  ///< bytes behind an object that have to stay as they are

std::string joined(const std::vector<std::string>& names) {
    std::string line;
    for (const std::string& name : names)
        line += (line.empty() ? "" : ", ") + name;
    return line;
}

/// Builds and destroys an object of the library in a place of the header's size. Broken where more is written.
template <typename T>
void buildInPlace(const Operation<void (*)(void*)>& make, const Operation<void (*)(void*)>& end) {
    alignas(16) unsigned char place[sizeof(T) + kBehind];
    std::memset(place, kUntouched, sizeof place);
    make(place);
    end(place);
    const auto* behind = place + sizeof(T);
    const auto touched = std::find_if(behind, behind + kBehind, [](unsigned char byte) { return byte != kUntouched; });
    demand(touched == behind + kBehind, "its constructor writes at byte %zu, the header's record has %zu",
           sizeof(T) + static_cast<std::size_t>(touched - behind), sizeof(T));
}

std::string deviceSize(Bench& bench) {
    buildInPlace<CTHARLeNDevice>(bench.lib.makeDevice, bench.lib.endDevice);
    Devices list(bench.lib);
    // The heap hands out a little more than was asked for, never less.
    constexpr std::size_t kRounding = 24;
    for (int i = 0; i < list.count(); ++i) {
        const std::size_t size = malloc_usable_size(&list.at(i));
        demand(size >= sizeof(CTHARLeNDevice) && size <= sizeof(CTHARLeNDevice) + kRounding,
               "record %d was made with about %zu bytes, the header's has %zu", i, size, sizeof(CTHARLeNDevice));
    }
    return text("%zu bytes", sizeof(CTHARLeNDevice));
}

std::string managerSize(Bench& bench) {
    buildInPlace<CTHARLeNMgr>(bench.lib.makeManager, bench.lib.endManager);
    return text("%zu bytes", sizeof(CTHARLeNMgr));
}

std::string deviceCount(Bench& bench) try {
    const Devices list(bench.lib);
    demand(list.counted() == list.count(), "%d devices are listed, the manager counts %d", list.count(),
           list.counted());
    return text("%d devices", list.count());
} catch (const NoList& seen) {
    throw Broken(seen.what());
}

std::string names(Bench& bench) {
    const Devices list(bench.lib);
    std::set<std::string> seen;
    for (int i = 0; i < list.count(); ++i) {
        const std::string name = list.name(i);
        demand(name.size() < sizeof list.at(i).m_szName, "the name of record %d has no end within its %zu bytes", i,
               sizeof list.at(i).m_szName);
        demand(!name.empty(), "record %d has no name", i);
        const int bad = firstUnprintable(name);
        demand(bad < 0, "the name of record %d has the character %d at place %d", i,
               static_cast<unsigned char>(name[static_cast<std::size_t>(std::max(bad, 0))]), bad);
        demand(seen.insert(name).second, "two devices have the name \"%.100s\"", name.c_str());
        demand(name.front() != ' ' && name.back() != ' ',
               "\"%.100s\" has blanks at its ends: the application never opens it", name.c_str());
    }
    return list.count() ? text("%d names", list.count()) : "no device is configured";
}

std::string fields(Bench& bench) {
    const Devices list(bench.lib);
    for (int i = 0; i < list.count(); ++i) {
        const CTHARLeNDevice& d = list.at(i);
        demand(d.m_nIndex == i, "record %d has m_nIndex %d", i, d.m_nIndex);
        const auto among = [](ULONG value, std::initializer_list<ULONG> values) {
            return std::find(values.begin(), values.end(), value) != values.end();
        };
        demand(d.m_nModelType < 100, "record %d has m_nModelType %lu", i, d.m_nModelType);
        demand(among(d.m_nCardType, {kCardParallel1, kCardParallel2, kCard1394, kCardLan, kCardUsb}),
               "record %d has m_nCardType %lu", i, d.m_nCardType);
        demand(d.m_nHighForce <= 1 && d.m_nGimbal <= 1, "record %d has m_nHighForce %lu, m_nGimbal %lu", i,
               d.m_nHighForce, d.m_nGimbal);
        demand(d.m_nExtra6DOFOption <= 2, "record %d has m_nExtra6DOFOption %lu", i, d.m_nExtra6DOFOption);
        struct Figure {
            const char* name;
            double value, lowest, highest;
        };
        const Figure figures[] = {{"m_dL1", d.m_dL1, 0, 5000},
                                  {"m_dL2", d.m_dL2, 0, 5000},
                                  {"m_dL3", d.m_dL3, 0, 5000},
                                  {"m_dR1", d.m_dR1, -1000, 1000},
                                  {"m_dR6", d.m_dR6, -1000, 1000},
                                  {"m_dNominalMaxStiffness", d.m_dNominalMaxStiffness, 0, 1000},
                                  {"m_dNominalMaxForce", d.m_dNominalMaxForce, 0, 1000},
                                  {"m_dNominalMaxContinuousForce", d.m_dNominalMaxContinuousForce, 0, 1000},
                                  {"m_dResetAngle0", d.m_dResetAngle0, -10, 10},
                                  {"m_dResetAngle5", d.m_dResetAngle5, -10, 10},
                                  {"m_dWorkspaceOffset2", d.m_dWorkspaceOffset2, -5000, 5000}};
        for (const Figure& f : figures)
            demand(f.value >= f.lowest && f.value <= f.highest, "record %d has %s %g, not between %g and %g", i, f.name,
                   f.value, f.lowest, f.highest);
        demand(strnlen(d.m_szTharlenHost, sizeof d.m_szTharlenHost) < sizeof d.m_szTharlenHost,
               "m_szTharlenHost of record %d has no end", i);
        demand(strnlen(d.m_nDeviceSerialNumber, sizeof d.m_nDeviceSerialNumber) < sizeof d.m_nDeviceSerialNumber,
               "m_nDeviceSerialNumber of record %d has no end", i);
    }
    return text("%d records", list.count());
}

std::string readRecords(Bench& bench) {
    Devices list(bench.lib);
    for (int i = 0; i < list.count(); ++i)
        demand(bench.lib.readDevice(&list.at(i)) != 0, "Read of record %d, just listed, failed", i);
    alignas(16) unsigned char place[sizeof(CTHARLeNDevice)];
    bench.lib.makeDevice(place);
    for (const int index : {-1, list.count(), 20}) {
        reinterpret_cast<CTHARLeNDevice*>(place)->m_nIndex = index;
        demand(bench.lib.readDevice(place) == 0, "Read with the index %d succeeded, of %d devices", index,
               list.count());
    }
    bench.lib.endDevice(place);
    return text("%d records, and indices -1, %d and 20", list.count(), list.count());
}

std::string listAgain(Bench& bench) {
    std::vector<std::string> lists[2];
    for (std::vector<std::string>& list : lists) {
        const Devices devices(bench.lib);
        for (int i = 0; i < devices.count(); ++i)
            list.push_back(devices.name(i));
    }
    demand(lists[0] == lists[1], "%zu devices at first, then %zu, or others", lists[0].size(), lists[1].size());
    return "the same list twice";
}

}  // namespace

std::vector<Check> fileChecks() {
    // The loading itself is the runner's: no check begins without it.
    return {
        {"file.loads", {"file.loads"}, Check::Nothing, 20, [](Bench&) { return std::string("bound"); }},
        {"file.soname",
         {"file.soname"},
         Check::Nothing,
         20,
         [](Bench& bench) {
             const std::string name = bench.lib.soname();
             demand(!name.empty(), "it has none: link it with -Wl,-soname,%s", kSoname);
             demand(name == kSoname, "it is %s", name.c_str());
             return name;
         }},
        {"file.operations",
         {"file.operations"},
         Check::Nothing,
         20,
         [](Bench& bench) {
             if (!bench.lib.missing().empty())
                 throw Broken("missing: " + joined(bench.lib.missing()));
             return std::string("all");
         }},
    };
}

std::vector<Check> storeChecks() {
    return {
        single("store.device", Check::Nothing, deviceSize), single("store.manager", Check::Nothing, managerSize),
        single("store.count", Check::Nothing, deviceCount), single("store.names", Check::Nothing, names),
        single("store.fields", Check::Nothing, fields),     single("store.read", Check::Nothing, readRecords),
        single("store.again", Check::Nothing, listAgain),
    };
}

}  // namespace librarycheck
