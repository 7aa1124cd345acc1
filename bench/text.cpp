// SPDX-License-Identifier: Apache-2.0
// How fast does text become UTF-8? Brings text of several kinds through the transform that does it, on one core,
// and prints the best of some runs, in processor time.
//
//   bench_text [MEBIBYTES [RUNS]]           (default: 64 and 5)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "opc/ztservices/ContentTypes.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace {

using namespace opc;
using namespace opc::ztservices;
using Bytes = std::vector<unsigned char>;

class MemorySource final : public IContentSource {
 public:
  explicit MemorySource(Bytes const& bytes) : stream_(bytes) {}
  model::ContentType getContentType() override { return getTextContentType(); }
  InputStream& getInputStream() override { return stream_; }

 private:
  ByteArrayInAdaptor stream_;
};

std::size_t drain(InputStream& stream) {
  std::vector<unsigned char> buffer(65'536);
  std::size_t total = 0;
  while (!stream.isEnd()) total += stream.read(buffer.data(), buffer.size());
  return total;
}

// Of the processor: what else the machine does is none of the transform's concern.
double secondsUsed() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double secondsFor(Bytes const& text, std::size_t& size) {
  double const start = secondsUsed();
  UDEToUTF8Transform transform(std::make_unique<MemorySource>(text));
  size = drain(transform.getInputStream());
  return secondsUsed() - start;
}

Bytes repeated(std::string const& line, std::size_t size) {
  Bytes bytes;
  bytes.reserve(size + line.size());
  while (bytes.size() < size) bytes.insert(bytes.end(), line.begin(), line.end());
  return bytes;
}

void measure(char const* kind, std::string const& line, std::size_t size, int runs) {
  Bytes const text = repeated(line, size);
  double best = std::numeric_limits<double>::max();
  std::size_t outSize = 0;
  for (int i = 0; i < runs; ++i) best = std::min(best, secondsFor(text, outSize));
  std::printf("%-28s %12zu -> %12zu bytes  %7.3f s  %8.1f MB/s\n", kind, text.size(), outSize, best,
              static_cast<double>(text.size()) / best / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t const size = std::strtoull(argc > 1 ? argv[1] : "64", nullptr, 10) << 20;
  int const runs = std::stoi(argc > 2 ? argv[2] : "5");
  measure("ASCII", "The quick brown fox jumps over the lazy dog, and nothing else happens.\n", size, runs);
  measure("UTF-8, French",
          "O\u00f9 \u00eates-vous all\u00e9s cet \u00e9t\u00e9 ? Nous \u00e9tions \u00e0 la montagne, pr\u00e8s du "
          "vieux ch\u00e2teau.\n",
          size, runs);
  measure("UTF-8, Russian", "Завтра утром мы поедем за город, чтобы собрать грибы и подышать свежим воздухом.\n", size,
          runs);
  measure("UTF-8, Japanese",
          "明日の朝、友だちと一緒に山へ行くことにしました。天気がよければ、頂上でお弁当を食べます。\n", size, runs);
  measure("Latin-1, French",
          "O\xf9 \xeates-vous all\xe9s cet \xe9t\xe9 ? Nous \xe9tions \xe0 la montagne, pr\xe8s du vieux ch\xe2teau.\n",
          size, runs);
  measure("windows-1252, German",
          "\x84\xdc"
          "ber den D\xe4"
          "chern\x93 der kleinen Stadt lag noch der Nebel, als der B\xe4"
          "cker die T\xfcr \xf6"
          "ffnete.\n",
          size, runs);
  measure("windows-1251, Russian",
          "\xc7\xe0\xe2\xf2\xf0\xe0 \xf3\xf2\xf0\xee\xec \xec\xfb \xef\xee\xe5\xe4\xe5\xec \xe7\xe0 "
          "\xe3\xee\xf0\xee\xe4, \xf7\xf2\xee\xe1\xfb \xf1\xee\xe1\xf0\xe0\xf2\xfc \xe3\xf0\xe8\xe1\xfb.\n",
          size, runs);
}
