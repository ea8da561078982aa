// measure [file.json]: prints every figure with the machine and the scheduling beside it, and writes it as JSON.
#include <QApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QSysInfo>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "figures.h"

namespace {

void print(const Figure& figure) {
    std::printf("%-42s %s\n", figure.subject.c_str(), figure.conditions.c_str());
    for (const auto& [name, value] : figure.values)
        std::printf("    %-24s %12.3f %s\n", name.c_str(), value, figure.unit.c_str());
    if (!figure.goal.empty())
        std::printf("    goal: %s\n", figure.goal.c_str());
}

nlohmann::json toJson(const Figure& figure) {
    nlohmann::json values = nlohmann::json::object();
    for (const auto& [name, value] : figure.values)
        values[name] = value;
    return {{"subject", figure.subject}, {"conditions", figure.conditions}, {"unit", figure.unit},
            {"goal", figure.goal},       {"values", values}};
}

}  // namespace

int main(int argc, char** argv) {
    // The start-up figures come first: this process is still small when it forks.
    const std::string program = QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2).toStdString();
    std::vector<Figure> figures = measureStartUp(program + "/firstpaint", 10);

    QApplication application(argc, argv);
    for (const Figure& figure : measureTickCost())
        figures.push_back(figure);
    for (const Figure& figure : measureLateness(20))
        figures.push_back(figure);

    const std::string machine = QSysInfo::prettyProductName().toStdString() + ", "
                                + QSysInfo::kernelVersion().toStdString() + ", "
                                + std::to_string(std::thread::hardware_concurrency()) + " cores";
    std::printf("%s\n\n", machine.c_str());
    nlohmann::json report{{"machine", machine},
                          {"date", QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString()},
                          {"figures", nlohmann::json::array()}};
    for (const Figure& figure : figures) {
        print(figure);
        report["figures"].push_back(toJson(figure));
    }
    const char* name = argc > 1 ? argv[1] : "figures.json";
    std::ofstream file(name);
    file << report.dump(2) << '\n';
    if (!file.flush()) {
        std::fprintf(stderr, "%s cannot be written\n", name);
        return 1;
    }
    std::printf("\nWritten to %s\n", name);
    return 0;
}
