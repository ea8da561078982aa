// Care with what comes from elsewhere, for both ends of the simulated arm's socket: files, JSON, and texts that are
// repeated in a message. Nothing of it throws. No Qt in here.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace foreign {

/// Objects and arrays within each other, the outermost counted. Far below what a reader that calls itself for each
/// level can take of the smallest stack, far above what is ever meant.
constexpr int kDeepest = 64;
constexpr char kTooDeep[] = "nested deeper than 64 levels";

struct JsonShape {
    int depth = 0;   ///< greatest number of levels that are open at once
    int fields = 0;  ///< of the outermost object, those of the same name counted each
};

/// To be asked before a text goes to a reader of JSON. Means nothing for what is no JSON, which the reader finds.
inline JsonShape shapeOf(const char* text, std::size_t size) {
    JsonShape shape;
    int depth = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (c == '"')
            quoted = !quoted;
        else if (quoted)
            i += c == '\\' ? 1 : 0;
        else if (c == '[' || c == '{')
            shape.depth = std::max(shape.depth, ++depth);
        else if (c == ']' || c == '}')
            --depth;
        else if (c == ':' && depth == 1)
            ++shape.fields;
    }
    return shape;
}

constexpr std::size_t kLongestShown = 200;  // characters

/// Bytes of the UTF-8 character that begins at `at`, and its code; 0 where none does.
inline std::size_t characterAt(const std::string& text, std::size_t at, unsigned& code) {
    constexpr unsigned kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(at);
    const std::size_t length = first < 0x80         ? 1
                               : (first >> 5) == 6  ? 2
                               : (first >> 4) == 14 ? 3
                               : (first >> 3) == 30 ? 4
                                                    : 0;
    if (length == 0 || at + length > text.size())
        return 0;
    code = length == 1 ? first : first & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0u) != 0x80u)
            return 0;
        code = (code << 6) | (byte(at + i) & 0x3Fu);
    }
    const bool valid = code >= kLowest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? length : 0;
}

/// Whether a character does something to a terminal or a line of text instead of being seen in it.
inline bool isUnseen(unsigned code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x200B && code <= 0x200F)
           || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF;
}

/// UTF-8 text as a message may repeat it: '?' for what is not printable, and of more than `most` characters the
/// beginning and the end, where a path has its name.
inline std::string printable(const std::string& text, std::size_t most = kLongestShown) {
    constexpr std::size_t kEnd = 77;
    constexpr char kGap[] = "...";
    std::string shown;
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < text.size();) {
        unsigned code = 0;
        const std::size_t length = characterAt(text, i, code);
        starts.push_back(shown.size());
        if (length == 0 || isUnseen(code))
            shown += '?';
        else
            shown.append(text, i, length);
        i += std::max<std::size_t>(length, 1);
    }
    if (starts.size() <= most)
        return shown;
    const std::size_t begin = most - kEnd - (sizeof kGap - 1);
    return shown.substr(0, starts[begin]) + kGap + shown.substr(starts[starts.size() - kEnd]);
}

struct FileText {
    bool there = false;  ///< something has this name
    std::string why;     ///< why it was not read; empty too where nothing has this name and that is all
    std::string text;
};

/// Reads a regular file, of which at most `most` bytes and one more, so that a longer one is seen. Whatever else
/// may have the name (a FIFO would hold its reader for ever) is not opened.
inline FileText readFile(const std::string& path, std::size_t most) {
    FileText file;
    struct stat s {};
    const auto fail = [&file](const char* otherwise = nullptr) {
        file.why = otherwise ? otherwise : std::string("cannot be read: ") + std::strerror(errno);
        return file;
    };
    if (::lstat(path.c_str(), &s) != 0)
        return errno == ENOENT ? file : fail();
    file.there = true;
    if (::stat(path.c_str(), &s) != 0)
        return fail(errno == ENOENT ? "is a link to nothing" : nullptr);
    if (!S_ISREG(s.st_mode))
        return fail("is not a regular file");
    // It may be another one by now: opened without waiting, and looked at again.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0)
        return fail();
    std::string text(most + 1, '\0');
    std::size_t size = 0;
    const bool regular = ::fstat(descriptor, &s) == 0 && S_ISREG(s.st_mode);
    ssize_t got = 1;
    while (regular && got > 0 && size < text.size()) {
        got = ::read(descriptor, &text[size], text.size() - size);
        if (got < 0 && errno == EINTR)
            got = 1;
        else if (got > 0)
            size += static_cast<std::size_t>(got);
    }
    if (!regular || got < 0)
        fail(regular ? nullptr : "is not a regular file");
    else
        file.text.assign(text, 0, size);
    ::close(descriptor);
    return file;
}

}  // namespace foreign
