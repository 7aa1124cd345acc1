// SPDX-License-Identifier: Apache-2.0
#include "package/PieceStream.hpp"

#include <cstddef>
#include <optional>
#include <utility>

#include "container/ItemStream.hpp"

namespace opc::model::detail {
namespace {

/// Nothing where it is more than the archive verifies whole.
std::optional<std::size_t> smallSize(zip::Archive const& archive, std::vector<std::uint32_t> const& pieces) {
  std::uint64_t room = zip::Archive::kVerifiedWholeBytes;
  for (auto const piece : pieces) {
    std::uint64_t const size = archive.entry(piece).size;
    if (size > room) return std::nullopt;
    room -= size;
  }
  return static_cast<std::size_t>(zip::Archive::kVerifiedWholeBytes - room);
}

}  // namespace

std::unique_ptr<InputStream> openPieces(std::shared_ptr<zip::Archive const> archive,
                                        std::vector<std::uint32_t> const& pieces) {
  auto const size = smallSize(*archive, pieces);
  if (!size) return std::make_unique<PieceStream>(std::move(archive), pieces);
  zip::Buffer content(*size);
  std::size_t filled = 0;
  for (auto const piece : pieces) {
    auto const input = archive->openContent(piece);  // an item's content is as long as its entry says, or throws
    while (!input->isEnd()) filled += input->read(content.data.get() + filled, content.size - filled);
  }
  return zip::makeStream(std::move(content));
}

PieceStream::PieceStream(std::shared_ptr<zip::Archive const> archive, std::vector<std::uint32_t> pieces)
    : archive_(std::move(archive)), pieces_(std::move(pieces)) {
  reset();
}

void PieceStream::reset() {
  next_ = 0;
  current_.reset();
  skipEnded();
}

void PieceStream::skipEnded() {
  while ((!current_ || current_->isEnd()) && next_ < pieces_.size()) {
    current_ = archive_->openContent(pieces_[next_]);
    ++next_;
  }
}

std::size_t PieceStream::read(void* buffer, std::size_t count) {
  skipEnded();
  return current_ ? current_->read(buffer, count) : 0;
}

bool PieceStream::isEnd() {
  skipEnded();
  return !current_ || current_->isEnd();
}

void PieceStream::clear() {
  if (current_) current_->clear();
}

}  // namespace opc::model::detail
