// Binding, polling and cutting of input into lines.
#include "socket.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "device/foreign.h"
#include "device/simulated/say.h"

namespace arm {
namespace {

constexpr std::size_t kLongestLine = 64 * 1024;
constexpr std::size_t kMostOutput = 1024 * 1024;  // bytes a client leaves unread before it is not heard
constexpr std::ptrdiff_t kMostClients = 16;
constexpr std::size_t kMostDescriptors = 64;  // those of surplus clients counted
constexpr char kTooMany[] = "{\"ok\":false,\"error\":\"16 programs are connected already\"}\n";
constexpr char kTooLong[] = "{\"ok\":false,\"error\":\"the line is longer than 64 KiB\"}\n";

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof address.sun_path - 1));
    return address;
}

/// True when the owner of this socket is gone. Asked without waiting: one that stands still, with its queue full,
/// would hold the start of the application for ever.
bool isLeft(const std::string& path) {
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_un address = addressOf(path);
    const bool left =
        ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno == ECONNREFUSED;
    ::close(probe);
    return left;
}

bool isSocket(const std::string& path) {
    struct stat s {};
    return ::lstat(path.c_str(), &s) == 0 && S_ISSOCK(s.st_mode);
}

/// Removes the sockets that ended processes left behind.
void sweep(const std::string& folder) {
    DIR* directory = ::opendir(folder.c_str());
    if (!directory)
        return;
    while (const dirent* entry = ::readdir(directory)) {
        int pid = 0;
        char rest[8] = "";
        if (std::sscanf(entry->d_name, "arm-%d.soc%2s", &pid, rest) != 2 || std::strcmp(rest, "k") != 0 || pid <= 0)
            continue;
        const std::string path = folder + "/" + entry->d_name;
        if (::kill(pid, 0) != 0 && errno == ESRCH && isSocket(path))
            ::unlink(path.c_str());
    }
    ::closedir(directory);
}

/// Whether the other end is closed, be it since the last round.
bool hasHungUp(int descriptor) {
    pollfd state{descriptor, 0, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLHUP | POLLERR));
}

/// The usual path, in a folder that belongs to this user alone; empty, with a reason, when there is none.
std::string usualPath(std::string& why) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    const std::string folder = runtime && *runtime ? std::string(runtime) + "/nolva-diagnostic"
                                                   : "/tmp/nolva-diagnostic-" + std::to_string(::getuid());
    const std::string shown = foreign::printable(folder);
    struct stat s {};
    if ((::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) || ::lstat(folder.c_str(), &s) != 0) {
        why = shown + ": " + std::strerror(errno);
        return "";
    }
    if (!S_ISDIR(s.st_mode) || s.st_uid != ::getuid() || (s.st_mode & 0777) != 0700) {
        why = shown + ": is not a folder of this user alone";
        return "";
    }
    sweep(folder);
    return folder + "/arm-" + std::to_string(::getpid()) + ".sock";
}

}  // namespace

void SocketServer::Client::close() {
    ::close(descriptor);
    descriptor = -1;
}

bool SocketServer::bindTo(const std::string& path) {
    const std::string shown = foreign::printable(path);
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        complain("no control socket: " + shown + ": the path is too long");
        return false;
    }
    if (isSocket(path) && isLeft(path))
        ::unlink(path.c_str());
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_un address = addressOf(path);
    // The mode of the socket before it is bound is that of the file.
    if (listener_ < 0 || ::fchmod(listener_, 0600) != 0
        || ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        complain("no control socket: " + shown + ": " + std::strerror(errno));
        if (listener_ >= 0)
            ::close(listener_);
        listener_ = -1;
        return false;
    }
    path_ = path;
    ::chmod(path.c_str(), 0600);
    return ::listen(listener_, 8) == 0;
}

void SocketServer::start() {
    const std::lock_guard<std::mutex> lock(startMutex_);
    if (started_)
        return;
    started_ = true;
    const char* wanted = std::getenv("NOLVA_ARM_SOCKET");
    std::string path = wanted ? wanted : "";
    if (path == "off")
        return;
    if (path.empty()) {
        std::string why;
        path = usualPath(why);
        if (path.empty()) {
            complain("no control socket: " + why);
            return;
        }
    }
    if (!bindTo(path))
        return;
    wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { run(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void SocketServer::stop() {
    const std::lock_guard<std::mutex> lock(startMutex_);
    if (thread_.joinable()) {
        const std::uint64_t one = 1;
        if (::write(wake_, &one, sizeof one) != sizeof one)
            return;
        if (thread_.get_id() == std::this_thread::get_id())
            thread_.detach();
        else
            thread_.join();
    }
    for (Client& client : clients_)
        client.close();
    clients_.clear();
    for (int* descriptor : {&listener_, &wake_}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
    if (!path_.empty())
        ::unlink(path_.c_str());
    path_.clear();
}

void SocketServer::accept() {
    const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    Client client;
    client.descriptor = descriptor;
    client.surplus = std::count_if(clients_.begin(), clients_.end(),
                                   [](const Client& c) { return !c.surplus && !c.ended && !hasHungUp(c.descriptor); })
                     >= kMostClients;
    if (client.surplus) {
        // Open for what it still sends until it closes, for a failure to send may cost it the answer.
        ::send(descriptor, kTooMany, sizeof kTooMany - 1, MSG_NOSIGNAL);
        ::shutdown(descriptor, SHUT_WR);
    }
    clients_.push_back(std::move(client));
}

void SocketServer::read(Client& client) {
    char buffer[16 * 1024];
    const ssize_t got = ::recv(client.descriptor, buffer, sizeof buffer, 0);
    if (got > 0)
        client.input.append(buffer, client.surplus ? 0 : static_cast<std::size_t>(got));
    else if (got == 0 || (errno != EAGAIN && errno != EINTR))
        client.ended = true;
}

void SocketServer::takeLines(Client& client) {
    while (client.output.size() < kMostOutput) {
        const std::size_t end = client.input.find('\n');
        if (client.skipping) {
            client.skipping = end == std::string::npos;
            client.input.erase(0, client.skipping ? std::string::npos : end + 1);
            if (client.skipping)
                return;
            continue;
        }
        if ((end == std::string::npos ? client.input.size() : end) > kLongestLine) {
            client.output += kTooLong;
            client.skipping = true;
            continue;
        }
        if (end == std::string::npos)
            return;
        const std::string line = client.input.substr(0, end);
        client.input.erase(0, end + 1);
        if (line.find_first_not_of(" \t\r") != std::string::npos)
            client.output += answer_(line) + '\n';
    }
}

void SocketServer::write(Client& client) {
    const ssize_t sent = ::send(client.descriptor, client.output.data(), client.output.size(), MSG_NOSIGNAL);
    if (sent > 0)
        client.output.erase(0, static_cast<std::size_t>(sent));
    else if (sent < 0 && errno != EAGAIN && errno != EINTR)
        client.close();
}

void SocketServer::run() {
    for (;;) {
        polled_.clear();
        polled_.push_back({wake_, POLLIN, 0});
        polled_.push_back({clients_.size() < kMostDescriptors ? listener_ : -1, POLLIN, 0});
        for (const Client& client : clients_) {
            const bool hear = !client.ended && client.output.size() < kMostOutput;
            polled_.push_back({client.descriptor,
                               static_cast<short>((hear ? POLLIN : 0) | (client.output.empty() ? 0 : POLLOUT)), 0});
        }
        if (::poll(polled_.data(), polled_.size(), -1) < 0 && errno != EINTR)
            return;
        if (polled_[0].revents)
            return;
        for (std::size_t i = 0; i < clients_.size(); ++i) {
            Client& client = clients_[i];
            const short events = polled_[i + 2].revents;
            if (events & (POLLIN | POLLHUP | POLLERR) && !client.ended)
                read(client);
            takeLines(client);
            if (!client.output.empty())
                write(client);
            if (client.descriptor >= 0 && ((client.ended && client.output.empty()) || events & POLLERR))
                client.close();
        }
        clients_.erase(
            std::remove_if(clients_.begin(), clients_.end(), [](const Client& c) { return c.descriptor < 0; }),
            clients_.end());
        if (polled_[1].revents & POLLIN)
            accept();
    }
}

}  // namespace arm
