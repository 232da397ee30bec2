// Fixture of the tests of chips in files: device 0 attached to a new file.
#pragma once

#include "tests/asic/AsicTest.h"
#include "tests/asic/ChipFiles.h"
#include "tests/pd-conformance/Snapshot.h"

#include <cstdint>
#include <string>
#include <vector>

namespace asic_test {

class AttachedTest : public AsicTest {
  protected:
    void SetUp() override {
        AsicTest::SetUp();
        attach();
    }

    void attach() { ASSERT_EQ(0u, tryAttach()) << velmor_asic_attach_error(); }
    pipe_status tryAttach() const { return tryAttach(path_); }
    static pipe_status tryAttach(const std::string& path) {
        return velmor_asic_chip_attach(kDevice, path.c_str(), nullptr);
    }
    /// As another process sees the file.
    void attachAnew() {
        velmor_asic_reset();
        attach();
    }
    /// A process that has the chip attached before it answers its first question.
    OtherProcess::Answer onChip(const OtherProcess::Answer& answer) const {
        return [answer, path = path_, isAttached = false](char question) mutable -> std::string {
            if (!isAttached && tryAttach(path) != 0)
                return velmor_asic_attach_error();
            isAttached = true;
            return answer(question);
        };
    }
    static std::uint64_t boot() {
        std::uint64_t generation = 0;
        EXPECT_EQ(0u, velmor_asic_chip_boot(kDevice, &generation));
        return generation;
    }
    static std::string line(std::uint64_t sequence) {
        const int length = velmor_asic_log_format(sequence, nullptr, 0);
        if (length < 0)
            return "(none)";
        std::vector<char> text(static_cast<std::size_t>(length) + 1);
        EXPECT_EQ(length, velmor_asic_log_format(sequence, text.data(), text.size()));
        return text.data();
    }

    Directory directory_;
    std::string path_ = directory_.file();
};

} // namespace asic_test
