#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mapped-tables/Crc32c.h"
#include "mapped-tables/MappedTable.h"
#include "posix/StateDirectory.h"
#include "posix/StateException.h"

/// What the tests of table files share: a place for a state directory, and records to put there.
namespace table_files {

/// A new directory in memory, removed with all it has at the end.
class Place {
  public:
    Place() {
        std::string name = "/dev/shm/table-files-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            name = "/tmp/table-files-XXXXXX";
            EXPECT_NE(::mkdtemp(name.data()), nullptr);
        }
        root_ = name;
    }
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    const std::filesystem::path& root() const { return root_; }
    /// Where the state directory is, or is going to be.
    std::filesystem::path state() const { return root_ / "state"; }
    std::filesystem::path file(const std::string& name) const { return state() / name; }
    std::shared_ptr<const Posix::StateDirectory> open() const {
        return std::make_shared<const Posix::StateDirectory>(state().c_str());
    }

  private:
    std::filesystem::path root_;
};

inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Writes over a file in place, which keeps its owner and mode.
inline void contentIs(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

/// The message of the StateException that a call throws; empty when it throws none.
template <class Call>
std::string refusalOf(Call call) {
    try {
        call();
    } catch (const Posix::StateException& e) {
        return e.what();
    }
    return {};
}

/// Runs `body` in a child process and returns its exit status. The child ends without returning.
template <class Body>
int statusOfChild(Body body) {
    const pid_t child = ::fork();
    if (child == 0) {
        int status = 125;
        try {
            status = body();
        } catch (...) {
        }
        ::_exit(status);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

template <class Record>
using Records = std::vector<Record>;

/// Record number `n` of a table, from 1: its key and its handle follow from `n`.
template <class Record>
Record numbered(Kel::U32 n) {
    using Traits = Glimt::RecordTraits<Record>;
    const Kel::U32 id = Traits::kTable.isAnonymous ? n : 0;
    return Traits::record({.key = Kel::U64{n} << 32 | id,
                           .handle = 0x1000 + n,
                           .extra = {Kel::U64{n} << 32 | (n * 3), n * 7}});
}

/// The words of a table in memory that has records 1 to `count`.
template <class Record>
std::vector<Kel::U64> wordsOfTable(Kel::U32 capacity, Kel::U32 count) {
    using namespace Glimt;
    const auto description = MappedTable<Record>::describe(capacity, {3, 17});
    std::vector<Kel::U64> words(SlotFormat::words(description));
    SlotFormat::writeHeader(std::span(words).template first<SlotFormat::kHeaderWords>(),
                            description);
    SlotTable table(words, description);
    for (Kel::U32 n = 1; n <= count; ++n) {
        table.contentIs(RecordTraits<Record>::content(numbered<Record>(n)));
    }
    return words;
}

/// All records of a table up to a corruption, whose message goes to `corruption`.
inline std::vector<Glimt::SlotContent> read(const Glimt::SlotTable& table,
                                            std::string* corruption = nullptr) {
    std::vector<Glimt::SlotContent> all;
    const Kel::Expect expected(64);
    try {
        Glimt::SlotContent content;
        for (std::size_t slot = 0; table.next(slot, content); ++slot) {
            all.push_back(content);
        }
    } catch (const Pello::CorruptionDetectedException& e) {
        if (corruption != nullptr) {
            *corruption = e.what();
        }
    }
    return all;
}

/// All records of a table file, by the walk that the driver makes.
template <class Record>
std::vector<Record> walked(Glimt::SharedTable<Record>& table) {
    std::vector<Record> all;
    const Kel::Expect expected(64);
    Glimt::walk<Record>(table, [&](const Record& record) { all.push_back(record); });
    return all;
}

} // namespace table_files
