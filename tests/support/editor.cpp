// The stand-in editor: blocking sockets, each wait bounded by poll().
#include "tests/support/editor.h"

#include <arpa/inet.h>
#include <poll.h>
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
    sockaddr* named = reinterpret_cast<sockaddr*>(&address);
    listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, named, size) != 0 || listen(listener, 4) != 0 || getsockname(listener, named, &size) != 0)
        throw std::runtime_error("the stand-in editor cannot listen");
    port = ntohs(address.sin_port);
}

StandInEditor::~StandInEditor()
{
    hangUp();
    close(listener);
}

bool StandInEditor::accept(double seconds)
{
    hangUp();
    if (readable(listener, seconds)) connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    return connection >= 0;
}

std::string StandInEditor::receive(size_t count, double seconds)
{
    std::string got(count, '\0');
    size_t have = 0;
    for (ssize_t n = 1; have < count && n > 0 && readable(connection, seconds); have += n)
        n = std::max<ssize_t>(recv(connection, &got[have], count - have, 0), 0);
    return got.substr(0, have);
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
