// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELPrintableText.h"
#include "Helpers/Linux/VELProcessLister.h"
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/// A record as /proc/PID/stat has it.
std::string record(const std::string& name, char state, int terminal = 0,
                   const std::string& times = "250 61", int threads = 1,
                   const std::string& flags = "4194304") {
    return "42 (" + name + ") " + state + " 1 42 42 " + std::to_string(terminal) + " -1 " + flags +
           " 1 2 3 4 " + times + " 0 0 20 0 " + std::to_string(threads) +
           " 0 12345 1000 200 18446744073709551615 1 1 0\n";
}

TEST(ProcessStat, ReadsTheNameBetweenTheOuterBrackets) {
    const auto stat = vel::parseProcessStat(record("a) R 1 (b", 'S', 34817, "250 61", 3));
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->name, "a) R 1 (b");
    EXPECT_EQ(stat->state, 'S');
    EXPECT_EQ(stat->terminal, 34817U);
    EXPECT_EQ(stat->ticks, 311U);
    EXPECT_EQ(stat->threads, 3);
    EXPECT_EQ(vel::parseProcessStat(record("two\nlines", 'R'))->name, "two\nlines");
    EXPECT_EQ(vel::parseProcessStat(record("", 'R'))->name, "");
}

TEST(ProcessStat, RefusesWhatIsNoRecord) {
    const std::string whole = record("name", 'S');
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{5}, whole.find(')'), whole.find(')') + 1, std::size_t{40}}) {
        EXPECT_FALSE(vel::parseProcessStat(whole.substr(0, length))) << length;
    }
    EXPECT_FALSE(vel::parseProcessStat(") name (" + whole.substr(9)));
    EXPECT_FALSE(vel::parseProcessStat(record("name", 'S', 0, "x 61")));
    EXPECT_FALSE(vel::parseProcessStat(record("name", 'S', 0, "250 -1")));
    EXPECT_FALSE(vel::parseProcessStat(record("name", 'S', 0, "0 0", 1, "x")));
    EXPECT_FALSE(vel::parseProcessStat(record("name", 'S', 0, "250 99999999999999999999")));
    EXPECT_FALSE(vel::parseProcessStat(whole.substr(0, whole.find(" 1 0 12345"))));
}

TEST(ProcessStat, AZombieWithLivingThreadsHasNotEnded) {
    EXPECT_TRUE(vel::hasEnded(*vel::parseProcessStat(record("n", 'Z', 0, "0 0", 1))));
    EXPECT_TRUE(vel::hasEnded(*vel::parseProcessStat(record("n", 'X', 0, "0 0", 0))));
    EXPECT_FALSE(vel::hasEnded(*vel::parseProcessStat(record("n", 'Z', 0, "0 0", 2))));
    EXPECT_FALSE(vel::hasEnded(*vel::parseProcessStat(record("n", 'D'))));
}

TEST(ProcessName, IsTheExecutableElseTheNameMadeWhole) {
    using namespace std::string_view_literals;
    EXPECT_EQ(vel::listedName("told", "/usr/bin/real", "/other\0"sv), "real");
    EXPECT_EQ(vel::listedName("told", "/usr/bin/real (deleted)", ""), "real");
    EXPECT_EQ(vel::listedName("told", "/", ""), "told");
    EXPECT_EQ(vel::listedName("told", "", ""), "told");
    EXPECT_EQ(vel::listedName("organisation-ag", "", "/opt/organisation-agent\0--run\0"sv),
              "organisation-agent");
    EXPECT_EQ(vel::listedName("organisation-ag", "", "organisation-agent"), "organisation-agent");
    EXPECT_EQ(vel::listedName("organisation-ag", "", "/opt/other\0organisation-agent"sv),
              "organisation-ag");
    EXPECT_EQ(vel::listedName("organisation-ag", "", "organisation-a"), "organisation-ag");
    EXPECT_EQ(vel::listedName("agent", "", "/opt/agent-not-cut\0"sv), "agent");
}

TEST(ProcessName, IsPrintedOnOneLineOfUTF8) {
    EXPECT_EQ(vel::printableText("Größe 进程 🙂\\"), "Größe 进程 🙂\\");
    EXPECT_EQ(vel::printableText("a\nb\x1b[0m\x7f"), "a\\x0Ab\\x1B[0m\\x7F");
    EXPECT_EQ(vel::printableText("\xff\xc3(\xe2\x82"), "\\xFF\\xC3(\\xE2\\x82");
    EXPECT_EQ(vel::printableText("\xc2\x85|\xc2\xa0|\xed\xa0\x80"),
              "\\xC2\\x85|\xc2\xa0|\\xED\\xA0\\x80");
    EXPECT_EQ(vel::printableText(""), "");
}

TEST(ProcessLine, HasTerminalAndTime) {
    const auto line = [](int terminal, const std::string& times) {
        return vel::processLine(42, *vel::parseProcessStat(record("n", 'S', terminal, times)),
                                "name", 100);
    };
    EXPECT_EQ(line(0, "0 0"), "42 ?? 0:00.00 name");
    EXPECT_EQ(line(34817, "250 61"), "42 pts/1 0:03.11 name");
    EXPECT_EQ(line((136 << 8) | 0x2C | (1 << 20), "6000 5"), "42 pts/300 1:00.05 name");
    EXPECT_EQ(line(1025, "360000 0"), "42 tty1 60:00.00 name");
    EXPECT_EQ(line(1088, "0 9"), "42 ttyS0 0:00.09 name");
    EXPECT_EQ(line(5 << 8, "0 0"), "42 ?? 0:00.00 name");
}

TEST(ProcessListing, OfAMadeFolder) {
    const TestFolder proc;
    using namespace std::string_literals;
    const auto add = [&proc](const std::string& id, const std::string& stat) {
        proc.write(id + "/stat", stat);
    };
    add("2", record("kthreadd", 'S', 0, "0 0", 1, "2129984"));
    add("17", record("kworker/u8:2-events_unbound", 'I', 0, "0 0", 1, "69238880"));
    add("100", record("told", 'S', 34817));
    proc.link("100/exe", "/opt/Real Agent");
    add("99", record("replaced", 'S'));
    proc.link("99/exe", "/opt/replaced (deleted)");
    add("101", record("organisation-ag", 'S'));
    proc.write("101/cmdline", "/opt/organisation-agent\0--run\0"s);
    add("102", record("zombie", 'Z'));
    add("103", record("leader-gone", 'Z', 0, "0 0", 2));
    add("104", record("bad\n\xff", 'S'));
    add("105", "no record");
    std::filesystem::create_directories(proc.path() + "/106"); // ended meanwhile
    add("self", record("self", 'S'));
    proc.write("uptime", "1 1\n");

    const std::string expected = "PID TTY TIME CMD\n"
                                 "99 ?? 0:03.11 replaced\n"
                                 "100 pts/1 0:03.11 Real Agent\n"
                                 "101 ?? 0:03.11 organisation-agent\n"
                                 "103 ?? 0:00.00 leader-gone\n"
                                 "104 ?? 0:03.11 bad\\x0A\\xFF\n";
    EXPECT_EQ(vel::processListing(proc.path()), expected);
    EXPECT_EQ(runProgram({toolProgram("process-listing"), "-axc", "--proc", proc.path()}),
              (ToolRun{0, expected, ""}));
}

TEST(ProcessListing, FailsWhereNoProcessIsVisible) {
    const TestFolder proc;
    proc.write("5/stat", record("zombie", 'Z'));
    for (const auto& folder : {proc.path(), proc.path() + "/none"}) {
        EXPECT_EQ(runProgram({toolProgram("process-listing"), "-axc", "--proc", folder}),
                  (ToolRun{1, "", "process-listing: no process is visible in " + folder + "\n"}));
    }
}

/// A folder like /proc with processes of long names, whose listing takes at least `bytes`.
void addProcesses(const TestFolder& proc, std::size_t bytes) {
    const std::string name(3000, 'n'); // a link may name a file that no folder could hold
    for (std::size_t number = 1; number <= bytes / name.size() + 1; ++number) {
        proc.write(std::to_string(number) + "/stat", record("n", 'S'));
        proc.link(std::to_string(number) + "/exe", "/opt/" + name);
    }
}

TEST(ProcessListing, FitsThePipeOfAHostThatReadsItAtTheEnd) {
    const TestFolder proc;
    addProcesses(proc, 200'000);
    VELPOSIXTask task(toolProgram("process-listing"), {"-axc", "--proc", proc.path()});
    task.launch();
    task.waitUntilExit();
    EXPECT_EQ(task.terminationStatus(), 0);
    const auto output = task.readOutputToEnd({});
    EXPECT_EQ(output, vel::processListing(proc.path()));
}

TEST(ProcessListing, FitsAPipeThatItJustFills) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const VELDescriptor reader(ends[0]);
    const VELDescriptor writer(ends[1]);
    const int capacity = ::fcntl(writer.get(), F_GETPIPE_SZ);
    EXPECT_TRUE(vel::fitsPipe(writer.get(), static_cast<std::size_t>(capacity)));
    EXPECT_EQ(::fcntl(writer.get(), F_GETPIPE_SZ), capacity);
}

TEST(ProcessListing, ThatFitsNoPipeIsAFailureAtOnce) {
    const std::size_t limit = std::stoul(contentOf("/proc/sys/fs/pipe-max-size"));
    const TestFolder proc;
    addProcesses(proc, limit);
    const std::string size = std::to_string(vel::processListing(proc.path()).value().size());
    // Who has this capability may make a pipe of any size.
    const std::string command =
        ::geteuid() == 0 ? "exec setpriv --bounding-set=-sys_resource " : "exec ";
    EXPECT_EQ(
        runProgram({"bash", "-c",
                    "{ " + command + toolProgram("process-listing") + " -axc --proc " +
                        proc.path() + "; } | wc -c; exit ${PIPESTATUS[0]}"}),
        (ToolRun{3, "0\n",
                 "process-listing: a listing of " + size + " bytes does not fit the pipe\n"}));
}

TEST(ProcessListing, FailsWhenItCannotWrite) {
    EXPECT_EQ(runProgram({"sh", "-c", toolProgram("process-listing") + " -axc >/dev/full"}),
              (ToolRun{1, "", ""}));
}

/// Process ID to name, of the lines of a listing.
std::map<pid_t, std::string> namesByID(const std::string& listing) {
    std::map<pid_t, std::string> names;
    std::istringstream lines(listing);
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        pid_t processID = 0;
        fields >> processID;
        std::string field;
        fields >> field >> field; // terminal and time
        std::getline(fields >> std::ws, names[processID]);
    }
    return names;
}

/// A process as ps shows it, with the executable that it runs (empty where none is told) and when
/// it was started, by which a later one with the same number is told apart.
struct SeenProcess {
    std::string name;
    bool isLeftOut; // a zombie of which no thread goes on, or a thread of the kernel
    std::string executable;
    std::string start;

    friend bool operator==(const SeenProcess&, const SeenProcess&) = default;
};

std::string startOfProcess(const std::string& folder) {
    constexpr int fieldsBefore = 20; // behind the name in parentheses
    const std::string record = contentOf(folder + "/stat");
    std::istringstream fields(record.substr(std::min(record.rfind(')'), record.size())));
    std::string field;
    for (int index = 0; index <= fieldsBefore; ++index) {
        fields >> field;
    }
    return field;
}

using Snapshot = std::map<pid_t, SeenProcess>;
Snapshot takeSnapshot() {
    Snapshot snapshot;
    std::istringstream lines(runProgram({"/bin/ps", "-axo", "pid=,stat=,ucmd="}).output);
    pid_t processID = 0;
    std::string state;
    std::string name;
    while (std::getline(lines >> processID >> state >> std::ws, name)) {
        const std::string folder = "/proc/" + std::to_string(processID);
        std::error_code unreadable;
        const auto executable = std::filesystem::read_symlink(folder + "/exe", unreadable);
        const bool hasEnded = state.front() == 'Z' && state.find('l') == std::string::npos;
        // What has no memory of its own runs in the kernel alone.
        const bool hasMemory = contentOf(folder + "/status").find("\nVmSize:") != std::string::npos;
        if (std::filesystem::exists(folder)) {
            snapshot[processID] = {name, hasEnded || !hasMemory, executable.filename(),
                                   startOfProcess(folder)};
        }
    }
    return snapshot;
}

/// The machine's own ps is the oracle, for the processes that it shows alike before and after: the
/// same ones but for zombies and kernel threads, and its names, cut at 15 characters, where no
/// executable tells another.
TEST(ProcessListing, AgreesWithPs) {
    const Snapshot before = takeSnapshot();
    const auto run = runProgram({toolProgram("process-listing"), "-axc"});
    const Snapshot after = takeSnapshot();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.diagnostics, "");
    const auto ours = namesByID(run.output);
    std::size_t compared = 0;
    for (const auto& [processID, shown] : before) {
        const auto later = after.find(processID);
        const auto& [name, isLeftOut, executable, start] = shown;
        if (later == after.end() || later->second != shown) {
            continue;
        }
        if (isLeftOut) {
            EXPECT_FALSE(ours.contains(processID)) << processID << " " << name;
            continue;
        }
        ASSERT_TRUE(ours.contains(processID))
            << processID << " " << name << " " << executable << "\n"
            << run.output;
        if (executable.empty()) {
            EXPECT_EQ(ours.at(processID).substr(0, name.size()), name);
        } else {
            const std::size_t mark = executable.rfind(" (deleted)");
            EXPECT_EQ(ours.at(processID), executable.substr(0, mark));
        }
        ++compared;
    }
    EXPECT_GE(compared, 3U);
    EXPECT_TRUE(ours.contains(::getpid()));
}

std::string lineOf(pid_t processID) {
    const auto run = runProgram({toolProgram("process-listing"), "-axc"}, {},
                                {"PS_FORMAT=pid", "LC_ALL=C", "COLUMNS=10"});
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(std::to_string(processID) + " ")) {
            return line.substr(line.find(' ', line.find(':')) + 1);
        }
    }
    return "(none)";
}

TEST(ProcessListing, NamesALongExecutableThatWasDeletedAndObeysNoVariable) {
    const TestFolder folder;
    const std::string program = folder.path() + "/organisation-endpoint-agent";
    std::filesystem::copy_file("/bin/sleep", program);
    const RunningProgram running({program, "100"});
    EXPECT_EQ(lineOf(running.processID()), "organisation-endpoint-agent");
    std::filesystem::remove(program);
    EXPECT_EQ(lineOf(running.processID()), "organisation-endpoint-agent");
}

TEST(ProcessListing, IsNotToldAnotherNameByTheProcess) {
    std::array<int, 2> ready{};
    ASSERT_EQ(::pipe2(ready.data(), O_CLOEXEC), 0);
    const VELDescriptor reader(ready[0]);
    const VELDescriptor writer(ready[1]);
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_NAME, "trusted-agent");
        ::write(writer.get(), "x", 1) == 1 ? ::pause() : 0;
        ::_exit(0);
    }
    char byte = 0;
    ASSERT_EQ(::read(reader.get(), &byte, 1), 1);
    EXPECT_EQ(lineOf(child), std::filesystem::read_symlink("/proc/self/exe").filename().string());
    ::kill(child, SIGKILL);
    siginfo_t ended{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(lineOf(child), "(none)"); // a zombie now
    ::waitpid(child, nullptr, 0);
}

TEST(ProcessListing, ShowsAProcessWhoseFirstThreadHasEnded) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::thread([] { ::pause(); }).detach();
        ::syscall(SYS_exit, 0); // this thread alone
    }
    const std::string stat = "/proc/" + std::to_string(child) + "/stat";
    while (vel::parseProcessStat(contentOf(stat)).value_or(vel::ProcessStat{}).state != 'Z') {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(lineOf(child),
              contentOf("/proc/self/comm").substr(0, contentOf("/proc/self/comm").size() - 1));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

} // namespace
