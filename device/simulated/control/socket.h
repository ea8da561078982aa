// The Unix socket of the arm: lines of JSON in, lines of JSON out, several clients at once, on one thread.
#pragma once

#include <poll.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace arm {

class SocketServer {
public:
    using Answer = std::string (*)(const std::string& line);

    /// `answer` is called on the socket's thread for each line.
    explicit SocketServer(Answer answer) : answer_(answer) {}
    ~SocketServer() { stop(); }
    SocketServer(const SocketServer&) = delete;
    SocketServer& operator=(const SocketServer&) = delete;

    /// Opens the socket, once; later calls do nothing. A path that cannot be bound is one line on standard
    /// error.
    void start();
    /// Ends the thread and removes the socket file.
    void stop();

private:
    struct Client {
        int descriptor = -1;
        std::string input;
        std::string output;
        bool skipping = false;  // the rest of a line that was too long
        bool ended = false;
        bool surplus = false;  // one more than there is room for: told so, and heard no more

        void close();
    };

    bool bindTo(const std::string& path);
    void run();
    void accept();
    void read(Client& client);
    void takeLines(Client& client);
    void write(Client& client);

    const Answer answer_;
    std::mutex startMutex_;
    bool started_ = false;
    std::string path_;
    int listener_ = -1;
    int wake_ = -1;
    std::vector<Client> clients_;
    std::vector<pollfd> polled_;
    std::thread thread_;
};

}  // namespace arm
