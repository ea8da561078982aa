#include "machine.h"

#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDateTime>
#include <QProcess>
#include <QSysInfo>
#include <cstdlib>
#include <fstream>
#include <thread>

namespace {

std::string processorName() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos)
            return line.substr(colon + 2);
    }
    return QSysInfo::currentCpuArchitecture().toStdString();
}

std::string commitName() {
    QProcess git;
    git.start("git", {"-C", NOLVA_SOURCE_FOLDER, "describe", "--always", "--tags", "--dirty"});
    const bool done = git.waitForFinished(10000) && git.exitStatus() == QProcess::NormalExit && git.exitCode() == 0;
    const std::string name = git.readAllStandardOutput().trimmed().toStdString();
    return done && !name.empty() ? name : "unknown";
}

/// Sets whether the calling thread has CAP_SYS_NICE in effect; false where it had not, or may not.
bool setMayNice(bool may) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (syscall(SYS_capget, &header, data) != 0)
        return false;
    constexpr std::uint32_t kBit = 1U << CAP_SYS_NICE;
    const std::uint32_t before = data[0].effective;
    data[0].effective = may ? before | kBit : before & ~kBit;
    return data[0].effective != before && syscall(SYS_capset, &header, data) == 0;
}

}  // namespace

Run describeRun() {
    Run run;
    run.machine = QSysInfo::prettyProductName().toStdString() + ", "
                  + std::to_string(std::thread::hardware_concurrency()) + " cores";
    run.processor = processorName();
    run.kernel = QSysInfo::kernelVersion().toStdString();
    run.date = QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString();
    run.commit = commitName();
    run.scheduling = realTimePermitted() ? "real-time scheduling permitted" : "real-time scheduling not permitted";
    run.load.resize(3);
    if (getloadavg(run.load.data(), 3) != 3)
        run.load.clear();
    return run;
}

bool realTimePermitted() {
    bool permitted = false;
    std::thread([&permitted] {
        sched_param parameter{};
        parameter.sched_priority = 60;  // as the loop asks for
        permitted = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
    }).join();
    return permitted;
}

// The effective capabilities are a thread's own and pass to the threads it starts; the limit is the process's.
OrdinaryScheduling::OrdinaryScheduling() : m_mayNice(setMayNice(false)) {
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    m_limit = limit.rlim_cur;
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_RTPRIO, &limit);
}

OrdinaryScheduling::~OrdinaryScheduling() {
    if (m_mayNice)
        setMayNice(true);
    rlimit limit{};
    getrlimit(RLIMIT_RTPRIO, &limit);
    limit.rlim_cur = m_limit;
    setrlimit(RLIMIT_RTPRIO, &limit);
}
