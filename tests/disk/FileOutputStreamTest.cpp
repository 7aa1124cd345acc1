// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <ios>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "disk/DiskSamples.hpp"
#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"

namespace {

namespace fs = std::filesystem;
using core_test::kSteps;
using core_test::sampleText;
using zt_test::readFile;
using zt_test::writeFile;

class FileOutputStream : public core_test::Disk {
 protected:
  std::unique_ptr<opc::FileOutputStream> open(std::u16string const& path) {
    return ops.createOutputStream(path, std::ios::out | std::ios::binary | std::ios::trunc, error);
  }
  static void write(std::ostream& stream, std::string const& text, std::size_t step) {
    for (std::size_t i = 0; i < text.size(); i += step)
      stream.write(text.data() + i, static_cast<std::streamsize>(std::min(step, text.size() - i)));
  }
};

TEST_F(FileOutputStream, IsNotOpenedThroughASymbolicLink) {
  writeFile(directory / "file", "kept");
  fs::create_symlink("file", directory / "link");
  EXPECT_FALSE(open(at("link")));
  EXPECT_EQ(error, boost::system::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(readFile(directory / "file"), "kept");
}

TEST_F(FileOutputStream, WritesEveryByteAtEveryStep) {
  for (std::size_t const size : {0U, 1U, 65535U, 65536U, 65537U, 300'000U}) {
    std::string const text = sampleText(size);
    for (std::size_t const step : kSteps) {
      auto const stream = open(at("file"));
      ASSERT_TRUE(stream) << error.message();
      write(*stream, text, step);
      stream->commit(error);
      EXPECT_FALSE(error) << error.message();
      EXPECT_TRUE(readFile(directory / "file") == text) << "size " << size << ", step " << step;
    }
  }
}

TEST_F(FileOutputStream, KeepsTheOrderOfSingleBytesAndBlocks) {
  auto const stream = open(at("file"));
  std::string expected;
  for (std::size_t const size : {10U, 70'000U, 3U, 65536U, 65535U, 2U}) {
    std::string const block = sampleText(size);
    stream->put('|');
    *stream << block;
    expected += '|' + block;
  }
  stream->commit(error);
  EXPECT_TRUE(readFile(directory / "file") == expected);
}

TEST_F(FileOutputStream, TruncatesAnExistingFile) {
  writeFile(directory / "file", "what was there before");
  auto const stream = open(at("file"));
  *stream << "new";
  stream->commit(error);
  EXPECT_EQ(readFile(directory / "file"), "new");
}

TEST_F(FileOutputStream, LeavesAnEmptyFileWhenNothingIsWritten) {
  writeFile(directory / "file", "what was there before");
  open(at("file"))->commit(error);
  EXPECT_FALSE(error);
  EXPECT_EQ(readFile(directory / "file"), "");
}

TEST_F(FileOutputStream, MakesFilesWithThePermissionsOfTheUmask) {
  core_test::ScopedUmask const mask(026);
  open(at("file"))->commit(error);
  EXPECT_EQ(ops.getPermissions(at("file"), error), 0640u);
}

TEST_F(FileOutputStream, RepeatsItsAnswer) {
  auto const stream = open(at("file"));
  *stream << "text";
  stream->commit(error);
  EXPECT_FALSE(error);
  stream->commit(error);
  EXPECT_FALSE(error);
}

TEST_F(FileOutputStream, FailsForWhatIsWrittenAfterCommit) {
  auto const stream = open(at("file"));
  *stream << "text";
  stream->commit(error);
  *stream << "more";
  EXPECT_TRUE(stream->bad());
  stream->commit(error);
  EXPECT_EQ(error.value(), EIO);
  EXPECT_EQ(readFile(directory / "file"), "text");
}

TEST_F(FileOutputStream, ReportsAFullDiskAtCommit) {
  auto const stream = open(u"/dev/full");
  ASSERT_TRUE(stream) << error.message();
  *stream << "small";
  EXPECT_TRUE(stream->good());
  stream->commit(error);
  EXPECT_EQ(error, boost::system::errc::no_space_on_device);
  error.clear();
  stream->commit(error);
  EXPECT_EQ(error, boost::system::errc::no_space_on_device);
}

TEST_F(FileOutputStream, GoesBadAtTheWriteThatFindsTheDiskFull) {
  auto const stream = open(u"/dev/full");
  stream->write(std::string(100'000, 'x').data(), 100'000);
  EXPECT_TRUE(stream->bad());
  stream->commit(error);
  EXPECT_EQ(error.value(), ENOSPC);
}

TEST_F(FileOutputStream, ReportsAFailureThatItsWriterHasCleared) {
  auto const stream = open(u"/dev/full");
  *stream << "lost" << std::flush;
  EXPECT_TRUE(stream->bad());
  stream->clear();
  *stream << "x";
  stream->commit(error);
  EXPECT_EQ(error.value(), ENOSPC);
}

TEST_F(FileOutputStream, ReportsEachWriteThatCanFail) {
  std::string const text = sampleText(300'000);
  for (rlim_t const room : {0U, 1U, 65535U, 65536U, 100'000U, 299'999U})
    for (std::size_t const step : {std::size_t(1000), std::size_t(70'000), text.size()}) {
      auto const stream = open(at("file"));
      core_test::ScopedLimit const limit(RLIMIT_FSIZE, room);
      write(*stream, text, step);
      stream->commit(error);
      EXPECT_EQ(error.value(), EFBIG) << "room " << room << ", step " << step;
      EXPECT_TRUE(readFile(directory / "file") == text.substr(0, room));
    }
}

TEST_F(FileOutputStream, ReportsAFailureOfAnotherKind) {
  auto const stream = open(at("file"));
  stream->setstate(std::ios::badbit);
  stream->commit(error);
  EXPECT_EQ(error.value(), EIO);
}

TEST_F(FileOutputStream, ThrowsThroughAnAdaptorWhenTheDiskIsFull) {
  auto const stream = open(u"/dev/full");
  opc::StdOStreamAdaptor output(*stream);
  output.write("small", 5);
  EXPECT_THROW_MESSAGE(output.close(), opc::StreamError, "Could not write to the stream");
  stream->commit(error);
  EXPECT_EQ(error.value(), ENOSPC);
}

TEST_F(FileOutputStream, WritesAFifoThroughSignals) {
  ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0600), 0);
  struct sigaction action {
  }, before{};
  action.sa_handler = [](int) {};  // without SA_RESTART writes are interrupted or fall short
  sigaction(SIGALRM, &action, &before);
  std::string const text = sampleText(1'000'000);
  std::string got;
  int const held = ::open(native("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);  // opening does not wait for one
  auto const stream = open(at("fifo"));
  std::thread reader([&] {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);  // signals are for the writer
    got = zt_test::run("(sleep 0.05; cat " + native("fifo") + ")").output;
  });
  itimerval const often{{0, 500}, {0, 500}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  write(*stream, text, 70'000);
  stream->commit(error);
  setitimer(ITIMER_REAL, &never, nullptr);
  ::close(held);
  reader.join();
  sigaction(SIGALRM, &before, nullptr);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(got == text);
}

TEST_F(FileOutputStream, DoesNotWaitForTheReaderOfAFifo) {
  ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0600), 0);
  struct sigaction action {
  }, before{};
  action.sa_handler = [](int) { _exit(3); };  // otherwise a call that waits would wait for ever
  sigaction(SIGALRM, &action, &before);
  ::alarm(10);
  EXPECT_EQ(open(at("fifo")), nullptr);
  EXPECT_EQ(error.value(), ENXIO);
  ::alarm(0);
  sigaction(SIGALRM, &before, nullptr);
}

TEST_F(FileOutputStream, ReportsAFolderThatIsNotThere) {
  EXPECT_EQ(open(at("missing/file")), nullptr);
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(FileOutputStream, ReportsAFolderInTheWay) {
  EXPECT_EQ(open(at("")), nullptr);
  EXPECT_EQ(error, boost::system::errc::is_a_directory);
}

TEST_F(FileOutputStream, ReportsAFileThatMayNotBeWritten) {
  ZT_SKIP_AS_ROOT();
  writeFile(directory / "file", "kept");
  fs::permissions(directory / "file", fs::perms::owner_read);
  EXPECT_EQ(open(at("file")), nullptr);
  EXPECT_EQ(error.value(), EACCES);
}

TEST_F(FileOutputStream, RefusesModesThatKeepWhatIsThere) {
  writeFile(directory / "file", "kept");
  for (auto const mode : {std::ios::in, std::ios::app, std::ios::ate}) {
    EXPECT_EQ(ops.createOutputStream(at("file"), std::ios::out | mode, error), nullptr);
    EXPECT_EQ(error.value(), EINVAL);
  }
  EXPECT_EQ(readFile(directory / "file"), "kept");
}

TEST_F(FileOutputStream, ClosesItsFileWithAndWithoutCommit) {
  core_test::ScopedLimit const limit(RLIMIT_NOFILE, 32);
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(open(at("file"))) << error.message();
    auto const stream = open(at("other"));
    ASSERT_TRUE(stream) << error.message();
    stream->commit(error);
  }
}

TEST_F(FileOutputStream, ThrowsNothingWhenDestroyedOverAFullDisk) {
  EXPECT_NO_THROW({
    auto const stream = open(u"/dev/full");
    *stream << "lost, and nobody asked";
  });
}

}  // namespace
