// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <thread>

#include "disk/DiskSamples.hpp"
#include "io/FileStreams.hpp"
#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"

namespace {

namespace fs = std::filesystem;
using core_test::kSteps;
using core_test::sampleText;
using zt_test::readAll;
using zt_test::writeFile;

class FileInputStream : public core_test::Disk {
 protected:
  std::unique_ptr<std::istream> open(std::string const& name) {
    return ops.createInputStream(at(name), std::ios::in | std::ios::binary, error);
  }
  std::unique_ptr<std::istream> opened(std::string const& name, std::string const& text) {
    writeFile(directory / name, text);
    return open(name);
  }
  // As ops would, which does not wait at a fifo.
  std::unique_ptr<std::istream> openFifo(std::string const& name) {
    constexpr std::size_t kCapacity = 65'536;
    return std::make_unique<opc::FileInputStream>(opc::FileHandle::open(native(name).c_str(), O_RDONLY, error),
                                                  at(name), kCapacity);
  }
  // Feeds a fifo piece by piece, so that reads fall short.
  std::thread feeder(std::string const& name, std::string const& text, std::size_t piece) {
    EXPECT_EQ(::mkfifo(native(name).c_str(), 0600), 0);
    return std::thread([path = native(name), text, piece] {
      int const fifo = ::open(path.c_str(), O_WRONLY);
      for (std::size_t i = 0; i < text.size(); i += piece) {
        EXPECT_GT(::write(fifo, text.data() + i, std::min(piece, text.size() - i)), 0);
        ::usleep(100);
      }
      ::close(fifo);
    });
  }
};

TEST_F(FileInputStream, DeliversEveryByteAtEveryStep) {
  for (std::size_t const size : {0U, 1U, 4095U, 4096U, 4097U, 65536U, 65537U, 300'000U}) {
    std::string const text = sampleText(size);
    for (std::size_t const step : kSteps) {
      auto const stream = opened("file", text);
      ASSERT_TRUE(stream);
      EXPECT_FALSE(error);
      opc::StdIStreamAdaptor input(*stream);
      EXPECT_TRUE(readAll(input, step) == text) << "size " << size << ", step " << step;
    }
  }
}

TEST_F(FileInputStream, MixesSingleBytesWithBlocks) {
  std::string const text = sampleText(200'000);
  auto const stream = opened("file", text);
  std::string all, block(70'000, '\0');
  while (stream->peek() != EOF) {
    all += static_cast<char>(stream->get());
    stream->read(block.data(), static_cast<std::streamsize>(block.size()));
    all.append(block, 0, static_cast<std::size_t>(stream->gcount()));
  }
  EXPECT_TRUE(all == text);
}

TEST_F(FileInputStream, IsAtItsEndAtOnceWhenEmpty) {
  auto const stream = opened("file", "");
  opc::StdIStreamAdaptor input(*stream);
  EXPECT_TRUE(input.isEnd());
  input.clear();
  input.reset();
  EXPECT_TRUE(input.isEnd());
}

TEST_F(FileInputStream, ReadsAgainAfterClearAndReset) {
  for (std::size_t const size : {10U, 100'000U}) {
    std::string const text = sampleText(size);
    auto const stream = opened("file", text);
    opc::StdIStreamAdaptor input(*stream);
    EXPECT_TRUE(readAll(input, 1000) == text);
    input.clear();
    input.reset();
    EXPECT_TRUE(readAll(input, 1000) == text);
  }
}

TEST_F(FileInputStream, SeesWhatWasAppendedAfterItsEnd) {
  auto const stream = opened("file", "one");
  opc::StdIStreamAdaptor input(*stream);
  EXPECT_EQ(readAll(input), "one");
  EXPECT_EQ(zt_test::run("printf two >> " + native("file")).exitCode, 0);
  input.clear();
  EXPECT_EQ(readAll(input), "two");
}

TEST_F(FileInputStream, SeeksFromEveryOrigin) {
  std::string const text = sampleText(10'000);
  auto const stream = opened("file", text);
  auto const next = [&] { return static_cast<char>(stream->get()); };
  stream->seekg(5000);
  EXPECT_EQ(next(), text[5000]);
  EXPECT_EQ(stream->tellg(), 5001);
  stream->seekg(-101, std::ios::cur);
  EXPECT_EQ(next(), text[4900]);
  stream->seekg(-1, std::ios::end);
  EXPECT_EQ(next(), text.back());
}

TEST_F(FileInputStream, RefusesASeekBeforeTheBeginning) {
  auto const stream = opened("file", "abc");
  stream->get();
  stream->seekg(-1, std::ios::beg);
  EXPECT_TRUE(stream->fail());
  stream->clear();
  EXPECT_EQ(stream->get(), 'b');
}

TEST_F(FileInputStream, ReadsAFifoInWhateverPiecesItComes) {
  std::string const text = sampleText(10'000);
  std::thread writer = feeder("fifo", text, 777);
  auto const stream = openFifo("fifo");
  opc::StdIStreamAdaptor input(*stream);
  EXPECT_TRUE(readAll(input, 4096) == text);
  EXPECT_TRUE(input.isEnd());
  input.clear();
  EXPECT_THROW_MESSAGE(input.reset(), opc::StreamError, "Could not go back to the beginning of the stream");
  writer.join();
}

TEST_F(FileInputStream, IsRefusedAtAFifoThatNobodyWrites) {
  ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0600), 0);
  EXPECT_EQ(open("fifo"), nullptr);
  EXPECT_EQ(error, boost::system::errc::invalid_argument);
}

TEST_F(FileInputStream, IsRefusedAtASocket) {
  int const made = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  native("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(made, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
  ::close(made);
  EXPECT_EQ(open("socket"), nullptr);
  EXPECT_EQ(error, boost::system::errc::invalid_argument);
}

TEST_F(FileInputStream, ReadsADevice) {
  auto const stream = ops.createInputStream(u"/dev/zero", std::ios::in | std::ios::binary, error);
  ASSERT_TRUE(stream) << error.message();
  EXPECT_EQ(stream->get(), 0);
}

TEST_F(FileInputStream, GoesOnAfterSignals) {
  struct sigaction action {
  }, before{};
  action.sa_handler = [](int) {};  // without SA_RESTART reads are interrupted
  sigaction(SIGALRM, &action, &before);
  std::string const text = sampleText(2000);
  std::thread writer = feeder("fifo", text, 20);
  itimerval const often{{0, 500}, {0, 500}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  auto const stream = openFifo("fifo");
  opc::StdIStreamAdaptor input(*stream);
  EXPECT_TRUE(readAll(input, 4096) == text);
  setitimer(ITIMER_REAL, &never, nullptr);
  writer.join();
  sigaction(SIGALRM, &before, nullptr);
}

TEST_F(FileInputStream, ThrowsWhatItCannotRead) {
  auto const stream = ops.createInputStream(u"/proc/self/mem", std::ios::in, error);
  if (!stream) GTEST_SKIP() << "no file here that opens and cannot be read";
  opc::StdIStreamAdaptor input(*stream);
  char block[100'000];
  constexpr char kMessage[] = "Could not read from file: /proc/self/mem: Input/output error";
  EXPECT_THROW_MESSAGE(input.isEnd(), opc::StreamError, kMessage);
  stream->clear();
  EXPECT_THROW_MESSAGE(input.read(block, sizeof block), opc::StreamError, kMessage);
  stream->clear();
  try {
    stream->get();
    ADD_FAILURE() << "it was read";
  } catch (opc::StreamError const& thrown) {
    EXPECT_EQ(thrown.getErrorCode(), boost::system::errc::io_error);
  }
}

TEST_F(FileInputStream, ReportsAFolderWhenItIsOpened) {
  EXPECT_EQ(open(""), nullptr);
  EXPECT_EQ(error, boost::system::errc::is_a_directory);
}

TEST_F(FileInputStream, ReportsAMissingFile) {
  EXPECT_EQ(open("missing"), nullptr);
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(FileInputStream, OpensAFileThatMayOnlyBeRead) {
  writeFile(directory / "file", "text");
  fs::permissions(directory / "file", static_cast<fs::perms>(0444));
  auto const stream = open("file");
  ASSERT_TRUE(stream) << error.message();
  EXPECT_EQ(stream->get(), 't');
}

TEST_F(FileInputStream, ReportsAFileThatMayNotBeRead) {
  ZT_SKIP_AS_ROOT();
  writeFile(directory / "file", "text");
  fs::permissions(directory / "file", fs::perms::none);
  EXPECT_EQ(open("file"), nullptr);
  EXPECT_EQ(error.value(), EACCES);
}

TEST_F(FileInputStream, RefusesModesThatAreNotForReadingFromTheBeginning) {
  writeFile(directory / "file", "text");
  for (auto const mode : {std::ios::out, std::ios::app, std::ios::trunc, std::ios::ate}) {
    EXPECT_EQ(ops.createInputStream(at("file"), std::ios::in | mode, error), nullptr);
    EXPECT_EQ(error.value(), EINVAL);
  }
  EXPECT_EQ(zt_test::readFile(directory / "file"), "text");
}

TEST_F(FileInputStream, ClosesItsFile) {
  writeFile(directory / "file", "text");
  core_test::ScopedLimit const limit(RLIMIT_NOFILE, 32);
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(open("file")) << error.message();
    EXPECT_FALSE(open(""));
  }
}

TEST_F(FileInputStream, IsNotInheritedByOtherPrograms) {
  auto const stream = opened("file", "text");
  EXPECT_EQ(zt_test::run("ls -l /proc/self/fd").output.find(native("file")), std::string::npos);
}

}  // namespace
