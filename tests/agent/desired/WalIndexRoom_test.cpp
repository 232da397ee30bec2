#include "agent/desired/WalIndexRoom.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include "tests/agent/desired/StateFiles.h"

namespace LagAgent {
namespace {

/// A state directory on a disk of 2 MiB with blocks of 1 KiB, where one may be mounted.
class WalIndexRoomTest : public testing::Test {
  protected:
    void SetUp() override {
        const std::string image = image_.root() / "image";
        const std::string command = "(truncate -s 2M " + image + " && mkfs.ext4 -q -m 0 -b 1024 " +
                                    image + " && mount -o loop " + image + " " +
                                    place_.root().string() + ") > /dev/null 2>&1";
        if (std::system(command.c_str()) != 0) {
            GTEST_SKIP() << "no file system can be mounted here";
        }
        isMounted_ = true;
    }
    void TearDown() override {
        if (isMounted_) {
            EXPECT_EQ(0, ::umount(place_.root().c_str()));
        }
    }

    /// Leaves so many bytes on the disk, as good as it goes.
    void freeIs(std::size_t bytes) const {
        const auto filler = place_.root() / "filler";
        std::filesystem::remove(filler);
        settle(); // or the room of what was removed comes later
        const auto free = std::filesystem::space(place_.root()).free;
        table_files::contentIs(filler, std::string(free > bytes ? free - bytes : 0, 'x'));
        settle();
    }

    table_files::Place image_; // gone last
    table_files::Place place_;

  private:
    void settle() const {
        const Posix::FileDescriptor root(::open(place_.root().c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(0, ::syncfs(root.get()));
    }

    bool isMounted_ = false;
};

TEST_F(WalIndexRoomTest, WhereverTheDiskIsFullNoProcessEndsForIt) {
    for (std::size_t free = 0; free <= 192 * 1024; free += 1024) {
        std::filesystem::remove_all(place_.state());
        freeIs(512 * 1024);
        {
            StateDatabase database(place_.open(), kScope);
            write(database, someState());
            database.commit();
        }
        freeIs(free);
        EXPECT_EQ(0, table_files::statusOfChild([&] {
                      const std::string error = storageErrorOf([&] {
                          StateDatabase database(place_.open(), kScope);
                          for (std::uint32_t id = 100; id < 400; ++id) {
                              database.memberIs(RuxTable::RuxMemberId(id), {kSetLagPort, 1});
                              database.commit();
                          }
                      });
                      return error.find("not an error") == std::string::npos ? 0 : 1;
                  }))
            << free << " bytes free";
    }
}

} // namespace
} // namespace LagAgent
