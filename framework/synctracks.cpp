// Synctracks: keys on rows, rows on the music's milliseconds, and the editor's protocol: every
// integer 32-bit big-endian, a float as its IEEE-754 bits, each command one byte and its payload.
// The track files hold the same keys little-endian, 9 bytes each after their count.
#include "synctracks.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "music.h"
#include "script.h"
#include "utils.h"

static const char* const folder = "data/sync/";

// The greetings, without terminators
static const char demoGreeting[] = "hello, synctracker!";
static const char editorGreeting[] = "hello, demo!";
static const size_t editorGreetingSize = sizeof(editorGreeting) - 1;

enum Command { SET_KEY = 0, DELETE_KEY = 1, GET_TRACK = 2, SET_ROW = 3, PAUSE = 4, SAVE_TRACKS = 5 };

// Bytes of what comes from the editor, by command, the command byte included; 0 for what it
// may not send (GET_TRACK is the demo's)
static const size_t commandSize[] = {14, 9, 0, 5, 2, 1};

// A million keys (12 MB) a track at most: far more than a production keys, and a file or an
// editor that claims more is refused before it fills the memory.
static const size_t maxKeys = 1 << 20;

// A frame takes this much of what came, so that the first answer of a big project (over a
// megabyte) arrives over a few frames instead of stalling one; and moves this many keys at
// most to make room for keys sent out of order.
static const size_t inboxSize = 64 * 1024;
static const size_t movesPerFrame = 1 << 20;
// What may wait to be sent before the editor counts as reading nothing
static const size_t outboxLimit = 64 * 1024;

// A connect is tried about once a second while none answers; an address that neither takes
// nor refuses it within a second gives way to the next; a greeting gets three seconds.
static const unsigned int retryMs = 1000;
static const unsigned int dialMs = 1000;
static const unsigned int greetingMs = 3000;

// The editor's integers
static uint32_t bigEndian(const unsigned char* bytes)
{
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

// The track files' integers
static uint32_t littleEndian(const unsigned char* bytes)
{
    return uint32_t(bytes[3]) << 24 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[1]) << 8 | bytes[0];
}

static void putBigEndian(std::string& bytes, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
}

static void putLittleEndian(std::string& bytes, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
}

// A float and its IEEE-754 bits, both ways
static float floatOf(uint32_t bits)
{
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

static uint32_t bitsOf(float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    return bits;
}

// Alike to the bit, so that a NaN a file holds is the same NaN
static bool sameKeys(const Synctracks::Keys& a, const Synctracks::Keys& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); i++)
        if (a[i].row != b[i].row || bitsOf(a[i].value) != bitsOf(b[i].value) ||
            a[i].interpolation != b[i].interpolation)
            return false;
    return true;
}

// Rows are compared alone when keys are searched.
static bool rowBefore(const Synctracks::Key& key, int row) { return key.row < row; }

// Letters and digits in ASCII, whatever the locale says
static bool plain(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_';
}

// The file of track `name` below data/sync/: "camera:zoom" is "track_camera-3Azoom.track",
// "camera/zoom" "track_camera/zoom.track", in a folder of its own.
static std::string fileOf(const std::string& name)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string file = "track_";
    for (unsigned char c : name) {
        if (plain(c) || c == '/') {
            file += static_cast<char>(c);
        } else {
            file += '-';
            file += hex[c >> 4];
            file += hex[c & 15];
        }
    }
    return file + ".track";
}

// Whether every part of `name` between slashes names something inside its folder: none empty,
// "." or "..", so that its file lies under data/sync/ and reads back as the same name.
static bool fileable(const std::string& name)
{
    for (size_t from = 0;;) {
        size_t slash = name.find('/', from);
        std::string part = name.substr(from, slash - from);
        if (part.empty() || part == "." || part == "..") return false;
        if (slash == std::string::npos) return true;
        from = slash + 1;
    }
}

// The track whose file is `file` (below data/sync/); false when no track's file has that name.
static bool nameOf(const std::string& file, std::string& name)
{
    const std::string prefix = "track_", suffix = ".track";
    if (file.size() < prefix.size() + suffix.size() || file.compare(0, prefix.size(), prefix) != 0) return false;
    std::string encoded = file.substr(prefix.size(), file.size() - prefix.size() - suffix.size());
    name.clear();
    for (size_t i = 0; i < encoded.size(); i++) {
        if (encoded[i] != '-') {
            name += encoded[i];
            continue;
        }
        if (i + 2 >= encoded.size()) return false;
        name += static_cast<char>(strtol(encoded.substr(i + 1, 2).c_str(), nullptr, 16));
        i += 2;
    }
    // Only the one spelling: lower-case hex, or an escape of a plain character, is another file.
    return fileable(name) && fileOf(name) == file;
}

// What is wrong with key `i` of a file, after the keys before it: "" for nothing
static std::string faultOf(const Synctracks::Keys& keys, size_t i)
{
    const Synctracks::Key& key = keys[i];
    if (key.interpolation > 3) return " has the interpolation " + std::to_string(key.interpolation) + ", over 3";
    if (key.row < 0) return " lies before the first row";
    if (i > 0 && key.row <= keys[i - 1].row) return " does not come after row " + std::to_string(keys[i - 1].row);
    return "";
}

// The keys of the track file at `path`, checked
static Result readTrack(const std::string& path, Synctracks::Keys& keys)
{
    const std::string error = "Synctracks: Error! " + path;
    struct stat status;
    if (stat(path.c_str(), &status) == 0 && static_cast<size_t>(status.st_size) > 4 + 9 * maxKeys)
        return Result::refuse(error + " holds " + std::to_string(status.st_size) + " bytes, more than the " +
                              std::to_string(maxKeys) + " keys a track may have");
    std::string text;
    Result read = readData(path, text);
    if (!read.ok()) return Result::refuse(error + " " + read.reason());
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text.data());
    if (text.size() < 4)
        return Result::refuse(error + " is truncated: " + std::to_string(text.size()) +
                              " bytes, too few for its key count");
    uint32_t count = littleEndian(bytes);
    unsigned long long size = 4 + 9ull * count;
    if (text.size() != size)
        return Result::refuse(error + " holds " + std::to_string(text.size()) + " bytes, where its " +
                              std::to_string(count) + " keys take " + std::to_string(size));
    keys.resize(count);
    for (uint32_t i = 0; i < count; i++) {
        const unsigned char* at = bytes + 4 + 9 * i;
        keys[i] = {static_cast<int>(littleEndian(at)), floatOf(littleEndian(at + 4)), at[8]};
        std::string fault = faultOf(keys, i);
        if (!fault.empty())
            return Result::refuse(error + ": key " + std::to_string(i) + " at row " + std::to_string(keys[i].row) +
                                  fault);
    }
    return Result();
}

// Writes the file whole: a temporary file beside it, renamed into place. A link keeps pointing
// where it did, and the file it names is the one replaced.
static Result writeTrack(const std::string& path, const Synctracks::Keys& keys)
{
    const std::string error = "Synctracks: Error! Cannot save " + path + ": ";
    std::error_code made;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), made);
    if (made) return Result::refuse(error + made.message());
    char resolved[PATH_MAX];
    std::string target = realpath(path.c_str(), resolved) ? resolved : path;
    struct stat status;
    if (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return Result::refuse(error + "it is not a regular file");

    std::string bytes;
    putLittleEndian(bytes, static_cast<uint32_t>(keys.size()));
    for (const Synctracks::Key& key : keys) {
        putLittleEndian(bytes, static_cast<uint32_t>(key.row));
        putLittleEndian(bytes, bitsOf(key.value));
        bytes += static_cast<char>(key.interpolation);
    }
    std::string name = target + ".partXXXXXX";
    std::vector<char> temporary(name.begin(), name.end());
    temporary.push_back('\0');
    int file = mkstemp(temporary.data());
    if (file < 0) return Result::refuse(error + strerror(errno));
    // mkstemp makes the file private; a track gets the permissions any new file gets.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(file, 0666 & ~mask);
    // Each step's failure gives the reason, the first one found.
    ssize_t wrote = write(file, bytes.data(), bytes.size());
    int reason = wrote < 0 ? errno : wrote < static_cast<ssize_t>(bytes.size()) ? ENOSPC : 0;
    if (close(file) != 0 && !reason) reason = errno;
    if (!reason && rename(temporary.data(), target.c_str()) != 0) reason = errno;
    if (!reason) return Result();
    unlink(temporary.data());
    return Result::refuse(error + strerror(reason));
}

// A setting of data/config.lua as text, `fallback` when it is absent
static std::string setting(const char* name, const char* fallback)
{
    std::string text = script.getString(name);
    return text.empty() ? fallback : text;
}

// A setting that must be a positive number, or the end of the program
static double positive(const char* name, const char* fallback)
{
    std::string text = setting(name, fallback);
    char* end = nullptr;
    double value = strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || !(value > 0) || !std::isfinite(value))
        fatal(std::string("Synctracks: Error! ") + name + " = " + text + " is not a positive number");
    return value;
}

Synctracks::Synctracks()
    : connected(false), phase(Phase::Unresolved), addresses(nullptr), dialing(nullptr), descriptor(-1), since(0),
      inbox(inboxSize), held(0), reported(-1)
{
    rowsPerSecond = positive("SYNC_BPM", "120") / 60 * positive("SYNC_ROWS_PER_BEAT", "8");
    // A row shorter than a millisecond could not be sought: the editor's rows must each have one.
    if (rowsPerSecond > 1000) {
        std::ostringstream message;
        message << "Synctracks: Error! SYNC_BPM / 60 x SYNC_ROWS_PER_BEAT gives " << rowsPerSecond
                << " rows a second: more than one a millisecond";
        fatal(message.str());
    }

    std::string address = setting("SYNC_EDITOR", "localhost:1338");
    size_t colon = address.rfind(':');
    bool bracketed = address[0] == '[' && colon != std::string::npos && colon > 0 && address[colon - 1] == ']';
    if (bracketed || (colon != std::string::npos && address.find(':') == colon)) {
        host = bracketed ? address.substr(1, colon - 2) : address.substr(0, colon);
        port = address.substr(colon + 1);
    } else {
        host = address;  // an IPv6 address without brackets, or a name alone
        port = "1338";
    }
    char* end = nullptr;
    long number = strtol(port.c_str(), &end, 10);
    if (host.empty() || port.empty() || *end != '\0' || number < 1 || number > 65535)
        fatal("Synctracks: Error! SYNC_EDITOR = " + address + " is not host:port");
    loadFiles();
}

Synctracks::~Synctracks()
{
    if (descriptor >= 0) close(descriptor);
    if (addresses) freeaddrinfo(addresses);
}

int Synctracks::getTrack(const std::string& name)
{
    for (size_t i = 0; i < tracks.size(); i++)
        if (tracks[i].name == name) return static_cast<int>(i);
    if (!fileable(name)) {
        std::string message = "Synctracks: Error! The track name \"" + name +
                              "\" has an empty, \".\" or \"..\" part between slashes: its file would lie elsewhere";
        fatal(message, message, 1);
    }
    tracks.push_back({name, {}, connected});
    Files::const_iterator file = files.find(name);
    if (connected) {
        ask(tracks.size() - 1);
    } else if (file != files.end()) {
        tracks.back().keys = file->second;
    } else {
        logger << "Synctracks: No file for the track " << name << " (" << folder << fileOf(name) << "): it has no keys"
               << std::endl;
    }
    return static_cast<int>(tracks.size() - 1);
}

float Synctracks::getValue(int handle, int ms) const
{
    if (handle < 0 || handle >= static_cast<int>(tracks.size())) return 0.0f;
    const Keys& keys = tracks[handle].keys;
    if (keys.empty()) return 0.0f;
    double row = getRow(ms);
    // The first key after the row: the one before it holds, and leads towards it.
    Keys::const_iterator next =
        std::upper_bound(keys.begin(), keys.end(), row, [](double at, const Key& key) { return at < key.row; });
    if (next == keys.begin()) return keys.front().value;
    if (next == keys.end()) return keys.back().value;
    const Key& key = next[-1];
    double t = (row - key.row) / (next->row - key.row);
    switch (key.interpolation) {
    case 0: return key.value;
    case 2: t = t * t * (3 - 2 * t); break;
    case 3: t = t * t; break;
    default: break;
    }
    return static_cast<float>(key.value + (next->value - key.value) * t);
}

double Synctracks::getRow(int ms) const { return ms * rowsPerSecond / 1000.0; }

Result Synctracks::readFiles(Files& read) const
{
    read.clear();
    struct stat status;
    if (stat(folder, &status) != 0 && errno == ENOENT) return Result();  // no track saved yet
    std::vector<std::string> found;
    Result listed = utils.listFiles(folder, ".track", found, true);
    if (!listed.ok()) return listed;
    for (const std::string& file : found) {
        std::string name;
        if (!nameOf(file, name))
            return Result::refuse("Synctracks: Error! " + std::string(folder) + file +
                                  " is not a track's file name: track_<name>.track, with -XX in the name for each "
                                  "character but a letter, a digit, '.', '_' and '/'");
        Result keys = readTrack(folder + file, read[name]);
        if (!keys.ok()) return keys;
    }
    return Result();
}

void Synctracks::takeFiles(Files& read)
{
    files.swap(read);
    read.clear();
    for (Track& track : tracks) {
        if (track.edited) continue;
        Files::const_iterator file = files.find(track.name);
        track.keys = file == files.end() ? Keys() : file->second;
    }
}

void Synctracks::loadFiles()
{
    Files read;
    Result complete = readFiles(read);
    if (!complete.ok()) fatal(complete.reason(), complete.reason(), 1);
    takeFiles(read);
}

bool Synctracks::filesChanged() const
{
    Files read;
    if (!readFiles(read).ok() || read.size() != files.size()) return true;
    for (const auto& [name, keys] : read) {
        Files::const_iterator held = files.find(name);
        if (held == files.end() || !sameKeys(keys, held->second)) return true;
    }
    return false;
}

Synctracks::Requests Synctracks::update(unsigned int now, int ms)
{
    Requests asked;
    if (phase == Phase::Unresolved) resolve(now, asked);
    if (phase == Phase::Idle && now - since >= retryMs) dial(addresses, now);
    if (phase == Phase::Dialing) dialed(now);
    if (phase == Phase::Greeting) hear(now, asked);
    if (phase == Phase::Connected) exchange(now, ms, asked);
    return asked;
}

// Once, at the start: every address the name has is tried in turn ("localhost" is ::1 first,
// and editors often listen on IPv4 only).
void Synctracks::resolve(unsigned int now, Requests& asked)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    int failed = getaddrinfo(host.c_str(), port.c_str(), &hints, &addresses);
    if (failed) {
        addresses = nullptr;
        phase = Phase::Unreachable;
        asked.refused = Result::refuse("Synctracks: Cannot find the sync editor " + host + ": " + gai_strerror(failed));
        return;
    }
    phase = Phase::Idle;
    since = now - retryMs;  // the first try at once
}

// Tries the addresses from `from` on until one is being reached; past the last, waits a while.
void Synctracks::dial(addrinfo* from, unsigned int now)
{
    since = now;
    for (dialing = from; dialing; dialing = dialing->ai_next) {
        descriptor =
            socket(dialing->ai_family, dialing->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, dialing->ai_protocol);
        if (descriptor < 0) continue;
        if (connect(descriptor, dialing->ai_addr, dialing->ai_addrlen) == 0 || errno == EINPROGRESS) {
            phase = Phase::Dialing;
            return;
        }
        close(descriptor);
        descriptor = -1;
    }
    phase = Phase::Idle;
}

// A connect under way: reached, and greeted; refused, or silent for too long, and the next
// address is tried.
void Synctracks::dialed(unsigned int now)
{
    pollfd connecting = {descriptor, POLLOUT, 0};
    int error = 0;
    socklen_t size = sizeof error;
    if (poll(&connecting, 1, 0) == 0) {
        if (now - since < dialMs) return;
        error = ETIMEDOUT;
    } else {
        getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    if (error) {
        close(descriptor);
        descriptor = -1;
        return dial(dialing->ai_next, now);
    }
    int on = 1;  // a row told at once, not gathered with the next
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    phase = Phase::Greeting;
    since = now;
    held = 0;
    outbox.assign(demoGreeting, sizeof(demoGreeting) - 1);
}

// The editor's greeting: then the keys held are dropped, and every track is asked for anew.
void Synctracks::hear(unsigned int now, Requests& asked)
{
    if (!flush(now, asked) || !fill(now, asked)) return;
    size_t seen = std::min(held, editorGreetingSize);
    if (memcmp(inbox.data(), editorGreeting, seen) != 0) {
        std::string answer;
        for (size_t i = 0; i < seen; i++) {
            unsigned char c = static_cast<unsigned char>(inbox[i]);
            char escaped[8];
            snprintf(escaped, sizeof escaped, c >= 32 && c < 127 ? "%c" : "\\x%02X", c);
            answer += escaped;
        }
        return refuse("it answered \"" + answer + "\" to the greeting", now, asked);
    }
    if (seen < editorGreetingSize) {
        if (now - since >= greetingMs)
            refuse("it did not answer the greeting within " + std::to_string(greetingMs / 1000) + " s", now, asked);
        return;
    }
    held -= editorGreetingSize;
    memmove(inbox.data(), inbox.data() + editorGreetingSize, held);
    phase = Phase::Connected;
    connected = true;
    asked.linked = asked.changed = true;
    reported = -1;
    for (size_t i = 0; i < tracks.size(); i++) {
        tracks[i].keys.clear();
        tracks[i].edited = true;
        ask(i);
    }
    char name[NI_MAXHOST], service[NI_MAXSERV];
    if (getnameinfo(dialing->ai_addr, dialing->ai_addrlen, name, sizeof name, service, sizeof service,
                    NI_NUMERICHOST | NI_NUMERICSERV) == 0)
        logger << "Synctracks: Connected to the sync editor at " << name << " port " << service << std::endl;
}

// The row told when it changed, then what came carried out, whole commands only.
void Synctracks::exchange(unsigned int now, int ms, Requests& asked)
{
    int row = static_cast<int>(std::floor(getRow(ms)));
    if (row != reported) {
        outbox += static_cast<char>(SET_ROW);
        putBigEndian(outbox, static_cast<uint32_t>(row));
        reported = row;
    }
    if (!flush(now, asked) || !fill(now, asked)) return;
    size_t at = 0, moved = 0;
    while (at < held && moved < movesPerFrame && asked.refused.ok()) {
        size_t size = run(reinterpret_cast<const unsigned char*>(inbox.data()) + at, held - at, now, asked, moved);
        if (phase != Phase::Connected) return;
        if (size == 0) break;
        at += size;
    }
    held -= at;
    memmove(inbox.data(), inbox.data() + at, held);
}

// Carries out the command at `bytes`: its size, 0 while it is not all there or when it was bad.
size_t Synctracks::run(const unsigned char* bytes, size_t count, unsigned int now, Requests& asked, size_t& moved)
{
    unsigned char command = bytes[0];
    size_t size = command < sizeof commandSize / sizeof *commandSize ? commandSize[command] : 0;
    auto bad = [&](const std::string& what) {
        refuse(what, now, asked);
        return size_t(0);
    };
    if (size == 0) {
        size_t seen = std::min(count, editorGreetingSize);
        if (memcmp(bytes, editorGreeting, seen) != 0)
            return bad("it sent the byte " + std::to_string(command) + ", which is no command");
        return seen == editorGreetingSize ? bad("it greeted again") : 0;
    }
    if (count < size) return 0;
    if (command == PAUSE) {
        asked.pause = bytes[1] != 0;
        return size;
    }
    if (command == SAVE_TRACKS) {
        asked.refused = saveFiles();
        return size;
    }

    // The rest name a row, and SET_KEY and DELETE_KEY a track before it.
    uint32_t track = bigEndian(bytes + 1);
    int row = static_cast<int>(command == SET_ROW ? track : bigEndian(bytes + 5));
    if (row < 0) return bad("it named the row " + std::to_string(row));
    if (command == SET_ROW) {
        asked.seek = seekTo(row);
        reported = row;
        return size;
    }
    if (track >= tracks.size())
        return bad("it named track " + std::to_string(track) + ", which the demo never asked for");
    const std::string& name = tracks[track].name;
    Keys& keys = tracks[track].keys;
    Keys::iterator at = std::lower_bound(keys.begin(), keys.end(), row, rowBefore);
    bool there = at != keys.end() && at->row == row;
    if (command == DELETE_KEY) {
        // The protocol's own library asserts here, and so ends the demo; a mistake is dropped.
        if (!there)
            return bad("it deleted a key of " + name + " at row " + std::to_string(row) + ", where there is none");
        moved += static_cast<size_t>(keys.end() - at);
        keys.erase(at);
        asked.changed = true;
        return size;
    }
    Key key = {row, floatOf(bigEndian(bytes + 9)), bytes[13]};
    if (key.interpolation > 3)
        return bad("it gave a key the interpolation " + std::to_string(key.interpolation) + ", over 3");
    if (!there && keys.size() >= maxKeys)
        return bad("it gave " + name + " more than " + std::to_string(maxKeys) + " keys");
    moved += there ? 0 : static_cast<size_t>(keys.end() - at);
    if (there)
        *at = key;
    else
        keys.insert(at, key);
    asked.changed = true;
    return size;
}

// Reads what came, as much as the inbox has room for; false when the editor is gone.
bool Synctracks::fill(unsigned int now, Requests& asked)
{
    if (held == inbox.size()) return true;  // a frame's share is waiting already
    ssize_t got = recv(descriptor, inbox.data() + held, inbox.size() - held, MSG_DONTWAIT);
    if (got > 0) held += static_cast<size_t>(got);
    if (got == 0) lose("it closed the connection", now, asked);
    if (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) lose(strerror(errno), now, asked);
    return got != 0 && phase != Phase::Idle;
}

// Sends what waits, as much as the socket takes now; false when the editor is gone.
bool Synctracks::flush(unsigned int now, Requests& asked)
{
    while (!outbox.empty()) {
        ssize_t sent = send(descriptor, outbox.data(), outbox.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) break;
        if (sent < 0) {
            lose(strerror(errno), now, asked);
            return false;
        }
        outbox.erase(0, static_cast<size_t>(sent));
    }
    if (outbox.size() <= outboxLimit) return true;
    refuse("it reads nothing of what the demo sends", now, asked);
    return false;
}

// GET_TRACK: the editor answers with the track's keys, under the index it was asked with.
void Synctracks::ask(size_t track)
{
    const std::string& name = tracks[track].name;
    outbox += static_cast<char>(GET_TRACK);
    putBigEndian(outbox, static_cast<uint32_t>(name.size()));
    outbox += name;
}

// Drops an editor for what it sent: the director hears why.
void Synctracks::refuse(const std::string& what, unsigned int now, Requests& asked)
{
    drop(now);
    asked.refused = Result::refuse("Synctracks: Disconnected the sync editor: " + what);
    asked.linked = true;
}

// An editor that quits, or a connection that breaks: nothing wrong was said, and the log tells.
void Synctracks::lose(const std::string& why, unsigned int now, Requests& asked)
{
    bool greeted = connected;
    drop(now);
    if (greeted) logger << "Synctracks: Lost the sync editor: " << why << std::endl;
    asked.linked = true;
}

// The keys the editor gave stay; another editor is looked for a second from now.
void Synctracks::drop(unsigned int now)
{
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
    connected = false;
    phase = Phase::Idle;
    since = now;
    held = 0;
    outbox.clear();
}

// The first millisecond of `row`, so that it reads back as the same row; a row past the end
// of the track is held at the last millisecond that plays.
int Synctracks::seekTo(int row) const
{
    double last = music.getLength() - endMargin - 1;
    double ms = std::min(std::ceil(row * 1000.0 / rowsPerSecond), last);
    while (ms > 0 && std::floor(getRow(static_cast<int>(ms) - 1)) >= row) ms--;
    while (ms < last && std::floor(getRow(static_cast<int>(ms))) < row) ms++;
    return static_cast<int>(std::max(ms, 0.0));
}

// SAVE_TRACKS: every track the scenes asked for, each file whole; what is written is what the
// show holds from now on, so that it comes back from the watcher as no change.
Result Synctracks::saveFiles()
{
    for (const Track& track : tracks) {
        Result saved = writeTrack(folder + fileOf(track.name), track.keys);
        if (!saved.ok()) return saved;
        files[track.name] = track.keys;
    }
    logger << "Synctracks: Saved " << tracks.size() << " tracks to " << folder << std::endl;
    return Result();
}
