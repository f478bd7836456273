#pragma once
#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zel::test {

/// Answers requests on the loopback address, one connection at a time, with whatever bytes a function gives.
class HttpServer {
public:
    struct Request {
        std::string method, target, body;
    };
    using Answer = std::function<std::string(const Request& request)>;

    explicit HttpServer(Answer answer) : answer_(std::move(answer)), socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), size) == 0 && ::listen(socket_, 64) == 0 &&
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) == 0)
            port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { run(); });
    }
    ~HttpServer()
    {
        ends_ = true;
        thread_.join();
        ::close(socket_);
    }
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::string address(const std::string& path, const std::string& host = "127.0.0.1") const
    {
        return "http://" + host + ":" + std::to_string(port_) + path;
    }
    std::vector<Request> requests() const
    {
        const std::scoped_lock lock(mutex_);
        return requests_;
    }
    static std::string ok(const std::string& body, std::size_t stated = std::string::npos)
    {
        return "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
               std::to_string(stated == std::string::npos ? body.size() : stated) + "\r\n\r\n" + body;
    }
    static std::string redirect(const std::string& to)
    {
        return "HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: " + to + "\r\n\r\n";
    }

private:
    void run()
    {
        while (!ends_) {
            pollfd waiting{socket_, POLLIN, 0};
            if (::poll(&waiting, 1, 20) <= 0)
                continue;
            const int peer = ::accept(socket_, nullptr, nullptr);
            if (peer >= 0) {
                serve(peer);
                ::close(peer);
            }
        }
    }
    void serve(int peer)
    {
        std::string text;
        std::array<char, 4096> piece{};
        std::size_t wanted = std::string::npos;
        while (text.size() < wanted) {
            pollfd waiting{peer, POLLIN, 0};
            if (::poll(&waiting, 1, 2000) <= 0)
                return;
            const ssize_t count = ::recv(peer, piece.data(), piece.size(), 0);
            if (count <= 0)
                return;
            text.append(piece.data(), static_cast<std::size_t>(count));
            const std::size_t end = text.find("\r\n\r\n");
            if (wanted == std::string::npos && end != std::string::npos) {
                const std::size_t length = text.find("Content-Length: ");
                wanted = end + 4 + (length < end ? std::stoul(text.substr(length + 16)) : 0);
                if (text.find("Expect: 100-continue") < end)
                    send(peer, "HTTP/1.1 100 Continue\r\n\r\n");
            }
        }
        const std::size_t blank = text.find(' ');
        Request request{text.substr(0, blank), text.substr(blank + 1, text.find(' ', blank + 1) - blank - 1),
                        text.substr(text.find("\r\n\r\n") + 4)};
        {
            const std::scoped_lock lock(mutex_);
            requests_.push_back(request);
        }
        send(peer, answer_(request));
    }
    static void send(int peer, const std::string& bytes)
    {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = ::send(peer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0)
                return;
            sent += static_cast<std::size_t>(count);
        }
    }

    Answer answer_;
    int socket_, port_ = 0;
    std::atomic<bool> ends_ = false;
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    std::thread thread_;
};

} // namespace zel::test
