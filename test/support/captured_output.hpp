// What the code under test prints and logs, caught for the length of a scope.
//
//   CapturedStdout output;              from here on nothing reaches the terminal
//   pub_debug_print(MX_DBG_ERR, "x");
//   EXPECT_EQ(output.take(), "...");    take() ends the capture; so does the end of the scope
//   stdout_of([&] { ... });             the same for one call
//   stream_text_of(shm_dump);           what a dump prints to the stream it is given
//
//   CapturedSyslog log;                 one at a time in a process; calls may come from any thread
//   pub_debug_print(MX_DBG_ERR, "x");
//   ASSERT_EQ(log.lines().size(), 1U);  priority, format and finished text of each call
//   EXPECT_TRUE(log.contains("x"));
//
//   DebugLevel level{"3"};              /tmp/dbglvl/<module>/3 exists while the scope lives
//   level.set("2");                     another entry in its place
//   level.clear();                      an empty directory
//
// A program that links this file has no real syslog: a call outside a capture is dropped, so that
// tests leave nothing in the machine's log. An assertion that fails while standard output is
// captured would be swallowed, so take the text first and then assert; what was not taken is
// written to the terminal when the capture ends.
//
// The module name of DebugLevel is the same for the whole process, because the code under test
// builds the path of its level directory once: call pub_log_init(nullptr, DebugLevel::module())
// before the first message (PoolFixture does).
#ifndef MOX_TEST_CAPTURED_OUTPUT_HPP
#define MOX_TEST_CAPTURED_OUTPUT_HPP

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace mox::test {

// Catches what the process writes to standard output, through stdio or the descriptor.
class CapturedStdout {
public:
    CapturedStdout();
    ~CapturedStdout();
    CapturedStdout(const CapturedStdout&) = delete;
    CapturedStdout& operator=(const CapturedStdout&) = delete;

    // Ends the capture and returns what was written; a second call returns an empty string.
    std::string take();

private:
    int terminal_ = -1;
    int caught_ = -1;
};

// Runs the body and returns what it wrote to standard output.
template <typename Body>
std::string stdout_of(Body&& body) {
    CapturedStdout output;
    body();
    return output.take();
}

// Runs the body with a stream and returns what it wrote there.
template <typename Body>
std::string stream_text_of(Body&& body) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* stream = open_memstream(&text, &length);
    body(stream);
    std::fclose(stream);
    std::string result(text, length);
    std::free(text);
    return result;
}

struct SyslogLine {
    int priority = 0;
    std::string format;  // as the caller gave it, before the values were put in
    std::string text;
};

// Catches the process's calls of syslog.
class CapturedSyslog {
public:
    CapturedSyslog();
    ~CapturedSyslog();
    CapturedSyslog(const CapturedSyslog&) = delete;
    CapturedSyslog& operator=(const CapturedSyslog&) = delete;

    std::vector<SyslogLine> lines() const;
    std::string text() const;  // all texts, one after the other
    bool contains(const std::string& part) const;
    void clear();
};

// A level for the process's messages, as an operator sets it: the name of a file in the module's
// level directory.
class DebugLevel {
public:
    // The module name of this process: unique on the machine while the process lives, shorter than
    // 32 characters.
    static const char* module();
    static const std::string& directory();

    explicit DebugLevel(const std::string& entry);
    ~DebugLevel();
    DebugLevel(const DebugLevel&) = delete;
    DebugLevel& operator=(const DebugLevel&) = delete;

    void set(const std::string& entry);
    void add(const std::string& entry);
    void clear();
};

}  // namespace mox::test

#endif
