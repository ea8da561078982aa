// librarycheck: tells the maker of a device library which promises of device/tharlenio.h it keeps.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>

#include "report.h"
#include "runner.h"

namespace {

using namespace librarycheck;

constexpr char kUsage[] =
    "librarycheck <file.so> [--device NAME]... [--all] [--rate 1000] [--person] [--json FILE]\n"
    "\n"
    "Loads a device library as the application does, and says of each promise of device/tharlenio.h whether it is\n"
    "kept, broken, or was not tried. Exit status 0 when nothing is broken, 1 when something is, 2 for a wrong call,\n"
    "130 when it was interrupted.\n"
    "\n"
    "  --device NAME  also what needs an arm, on this device; may be given several times\n"
    "  --all          the same, on every device of the library's store\n"
    "  --rate HZ      servo rate of the checks beside those of the rate: 1000, 2000, 3000 or 4000\n"
    "  --person       also what needs a person at the first of the arms, who is asked step by step\n"
    "  --json FILE    writes the findings there as well\n";

constexpr int kWrongCall = 2;
constexpr int kInterrupted = 130;

/// Empty where the arguments are good, else what is wrong with them.
std::string parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool takesValue = word == "--device" || word == "--rate" || word == "--json";
        if (takesValue && i + 1 == argc)
            return word + " needs a value";
        if (word == "--device")
            options.devices.push_back(latin1(argv[++i]));
        else if (word == "--json")
            options.json = argv[++i];
        else if (word == "--rate") {
            const std::string rate = argv[++i];
            if (rate != "1000" && rate != "2000" && rate != "3000" && rate != "4000")
                return "--rate takes 1000, 2000, 3000 or 4000";
            options.rate = std::stoi(rate);
        } else if (word == "--all")
            options.allDevices = true;
        else if (word == "--person")
            options.person = true;
        else if (!word.empty() && word[0] == '-')
            return "there is no option " + word;
        else if (!options.file.empty())
            return "one library at a time";
        else
            options.file = word;
    }
    if (options.file.empty())
        return "which library?";
    for (const std::string& device : options.devices)
        if (device.empty())
            return "--device needs a name";
    if (options.allDevices && !options.devices.empty())
        return "--all has no --device beside it";
    if (options.person && !options.allDevices && options.devices.empty())
        return "--person needs --device or --all";
    return access(options.file.c_str(), R_OK) == 0 ? "" : options.file + " cannot be read: " + std::strerror(errno);
}

/// Where standard input, output or error are closed, nothing else that is opened is to take their place.
void fillStandardDescriptors() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = open("/dev/null", O_RDWR);
    if (descriptor >= 0)
        close(descriptor);
}

}  // namespace

int main(int argc, char** argv) {
    fillStandardDescriptors();
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::cout << kUsage;
        return 0;
    }
    Options options;
    const std::string wrong = parse(argc, argv, options);
    if (!wrong.empty()) {
        std::cerr << "librarycheck: " << wrong << "\n\n" << kUsage;
        return kWrongCall;
    }
    std::ofstream json;
    if (!options.json.empty()) {
        json.open(options.json);
        if (!json) {
            std::cerr << "librarycheck: " << options.json << " cannot be written: " << std::strerror(errno) << "\n";
            return kWrongCall;
        }
    }
    try {
        Runner runner(options);
        const bool whole = runner.run();
        const Report report{options, runner.version(), runner.findings(), runner.costs()};
        std::cout << plainText(report) << std::flush;
        if (json.is_open() && !(json << jsonText(report) << std::flush)) {
            std::cerr << "librarycheck: " << options.json << " could not be written\n";
            return kWrongCall;
        }
        if (!whole)
            std::cout << "Interrupted: the rest was not tried.\n";
        return !whole ? kInterrupted : countOf(report, Verdict::Broken) > 0 ? 1 : 0;
    } catch (const std::exception& error) {
        std::cerr << "librarycheck: " << error.what() << "\n";
        return kWrongCall;
    }
}
