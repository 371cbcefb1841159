// The stand-in editor: blocking sockets, each wait bounded by poll().
#include "tests/support/editor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

std::string bytes(std::initializer_list<int> values)
{
    std::string text;
    for (int value : values) text += static_cast<char>(value);
    return text;
}

// Whether `socket` has something to read within `seconds`
static bool readable(int socket, double seconds)
{
    pollfd waiting = {socket, POLLIN, 0};
    return poll(&waiting, 1, static_cast<int>(seconds * 1000)) > 0;
}

StandInEditor::StandInEditor()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener, 4) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("the stand-in editor cannot listen");
    port = ntohs(address.sin_port);
}

StandInEditor::~StandInEditor()
{
    hangUp();
    close(listener);
}

std::string StandInEditor::address() const { return "localhost:" + std::to_string(port); }

bool StandInEditor::accept(double seconds)
{
    hangUp();
    if (readable(listener, seconds)) connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    return connection >= 0;
}

std::string StandInEditor::receive(size_t count, double seconds)
{
    std::string got;
    char buffer[4096];
    while (got.size() < count && readable(connection, seconds)) {
        ssize_t n = recv(connection, buffer, std::min(sizeof buffer, count - got.size()), 0);
        if (n <= 0) break;
        got.append(buffer, static_cast<size_t>(n));
    }
    return got;
}

void StandInEditor::send(const std::string& data)
{
    if (::send(connection, data.data(), data.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(data.size()))
        throw std::runtime_error("the stand-in editor cannot send");
}

void StandInEditor::hangUp()
{
    if (connection >= 0) close(connection);
    connection = -1;
}
