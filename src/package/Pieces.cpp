// SPDX-License-Identifier: Apache-2.0
#include "package/Pieces.hpp"

#include <cstddef>
#include <optional>
#include <utility>

#include "container/ItemStream.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "text/Ascii.hpp"

namespace opc::model::detail {
namespace {

/// The total size; absent where an archive would not verify an item of it whole.
std::optional<std::size_t> smallSize(zip::Archive const& archive, std::vector<std::uint32_t> const& pieces) {
  std::uint64_t room = zip::Archive::kVerifiedWholeBytes;
  for (auto const piece : pieces) {
    std::uint64_t const size = archive.entry(piece).size;
    if (size > room) return std::nullopt;
    room -= size;
  }
  return static_cast<std::size_t>(zip::Archive::kVerifiedWholeBytes - room);
}

constexpr std::string_view kPiece = ".piece", kLast = ".last";
// The digits of the largest number of items.
constexpr std::size_t kMaximumDigits = 9;

bool removeEnd(std::string_view& text, std::string_view end) {
  if (!endsIgnoringCase(text, end)) return false;
  text.remove_suffix(end.size());
  return true;
}

std::optional<std::uint32_t> parseNumber(std::string_view digits) {
  if (digits.empty() || digits.size() > kMaximumDigits || (digits.front() == '0' && digits.size() > 1))
    return std::nullopt;
  std::uint32_t number = 0;
  for (char const c : digits) {
    if (!ascii::isDigit(c)) return std::nullopt;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return number;
}

}  // namespace

std::unique_ptr<InputStream> openPieces(std::shared_ptr<zip::Archive const> archive,
                                        std::vector<std::uint32_t> const& pieces) {
  auto const size = smallSize(*archive, pieces);
  if (!size) return std::make_unique<PieceStream>(std::move(archive), pieces);
  zip::Buffer content(*size);
  std::size_t filled = 0;
  for (auto const piece : pieces) {
    auto const input = archive->openContent(piece);  // throws unless the content has the length of its entry
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

std::optional<PieceName> parsePieceName(std::string_view item) {
  std::string_view rest = item;
  if (!removeEnd(rest, kPiece)) return std::nullopt;
  bool const isLast = removeEnd(rest, kLast);
  std::size_t const slash = rest.rfind('/');
  if (slash == std::string_view::npos || slash == 0 || rest.size() < slash + 3 || rest[slash + 1] != '[' ||
      rest.back() != ']')
    return std::nullopt;
  auto const number = parseNumber(rest.substr(slash + 2, rest.size() - slash - 3));
  if (!number) return std::nullopt;
  return PieceName{item.substr(0, slash), *number, isLast};
}

void PieceCollector::add(PieceName const& piece, std::uint32_t item) {
  auto& sequence = pieces_[lowerCased(piece.whole)];
  if (!sequence.emplace(piece.number, Piece{piece.whole, item, piece.isLast}).second)
    throw InvalidPackage(
        messages::invalidItem(piece.whole, "two pieces have the number " + std::to_string(piece.number)));
}

std::vector<PieceCollector::Sequence> PieceCollector::sequences() const {
  std::vector<Sequence> result;
  for (auto const& [key, pieces] : pieces_) {
    Sequence sequence{std::string(pieces.begin()->second.whole), {}, true};
    for (auto const& [number, piece] : pieces) {
      bool const isEnd = number == pieces.rbegin()->first;
      if (number != sequence.items.size() || piece.isLast != isEnd) sequence.isComplete = false;
      sequence.items.push_back(piece.item);
    }
    result.push_back(std::move(sequence));
  }
  return result;
}

}  // namespace opc::model::detail
