// SPDX-License-Identifier: Apache-2.0
#include "commands/Treemap.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

constexpr double kWidth = 1200, kHeight = 800, kTitleHeight = 24;
constexpr double kSmallest = 3;      // the side of the smallest box
constexpr double kLabelHeight = 14;  // of a line of text
constexpr double kLetterWidth = 6.2;
constexpr int kDeepest = 40;  // deeper folders are drawn as boxes without contents
constexpr std::array<char const*, 6> kColours{"#8fb9d9", "#a9cf9f", "#f0cf8b", "#dba9b8", "#b9b0dc", "#a5d3cd"};

/// Names without what would disguise the text, and without what XML reserves.
std::string escaped(std::u16string_view name) {
  std::string text;
  for (char const c : opc::toUTF8String(opc::escapeForDisplay(name))) {
    if (c == '&')
      text += "&amp;";
    else if (c == '<')
      text += "&lt;";
    else if (c == '>')
      text += "&gt;";
    else if (c == '"')
      text += "&quot;";
    else
      text += c;
  }
  return text;
}

std::string number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f", value);
  return text.data();
}

std::u16string shortened(std::u16string_view name, double width) {
  auto const room = static_cast<std::size_t>(std::max(0.0, width / kLetterWidth));
  if (name.size() <= room) return std::u16string(name);
  if (room < 4) return {};
  std::size_t length = room - 1;
  if (name[length - 1] >= 0xD800 && name[length - 1] < 0xDC00) --length;  // a pair stays whole
  return std::u16string(name.substr(0, length)) + u"\u2026";
}

}  // namespace

/// Lays out the children of a node in rows of boxes that are as square as possible, and draws them.
class Treemap::Drawing {
 public:
  std::string take() { return std::move(text_); }

  void draw(Node const& node, std::u16string const& path, Box const& box, int depth) {
    std::vector<Child> children;
    for (auto const& [name, child] : node.children)
      if (child->bytes > 0) children.push_back({name, child.get()});
    std::stable_sort(children.begin(), children.end(),
                     [](Child const& a, Child const& b) { return a.node->bytes > b.node->bytes; });
    Box rest = box;
    double left = static_cast<double>(node.bytes);
    for (std::size_t at = 0; at < children.size() && rest.width >= kSmallest && rest.height >= kSmallest;)
      at = drawRow(children, at, path, rest, left, depth);
  }

 private:
  struct Child {
    std::u16string_view name;
    Node const* node;
  };

  /// The largest ratio of the sides of boxes with these bytes in a row along a side.
  static double worstRatio(double rowBytes, double largest, double smallest, double side, double areaOfByte) {
    double const depth = rowBytes * areaOfByte / side;
    auto const ratio = [&](double bytes) {
      double const length = std::max(bytes * areaOfByte / depth, 1e-9);
      return std::max(length / depth, depth / length);
    };
    return std::max(ratio(largest), ratio(smallest));
  }

  /// Draws one row along the shorter side and takes its place from `rest`. Returns the child behind it.
  std::size_t drawRow(std::vector<Child> const& children, std::size_t begin, std::u16string const& path, Box& rest,
                      double& left, int depth) {
    bool const isColumn = rest.width >= rest.height;
    double const side = isColumn ? rest.height : rest.width;
    double const areaOfByte = rest.width * rest.height / left;
    auto const bytesOf = [&](std::size_t i) { return static_cast<double>(children[i].node->bytes); };
    double bytes = bytesOf(begin);
    std::size_t end = begin + 1;
    double worst = worstRatio(bytes, bytes, bytes, side, areaOfByte);
    for (; end < children.size(); ++end) {
      double const next = worstRatio(bytes + bytesOf(end), bytesOf(begin), bytesOf(end), side, areaOfByte);
      if (next > worst) break;
      worst = next;
      bytes += bytesOf(end);
    }
    double const thickness = bytes * areaOfByte / side;
    double at = isColumn ? rest.y : rest.x;
    for (std::size_t i = begin; i < end; ++i) {
      double const length = side * bytesOf(i) / bytes;
      Box const box = isColumn ? Box{rest.x, at, thickness, length} : Box{at, rest.y, length, thickness};
      drawNode(children[i], path, box, depth);
      at += length;
    }
    (isColumn ? rest.x : rest.y) += thickness;
    (isColumn ? rest.width : rest.height) -= thickness;
    left -= bytes;
    return end;
  }

  void drawNode(Child const& child, std::u16string const& above, Box const& box, int depth) {
    if (box.width < kSmallest || box.height < kSmallest) return;
    std::u16string const path = above + u"/" + std::u16string(child.name);
    bool const isFolder = !child.node->children.empty();
    text_ += "<g><title>" + escaped(path) + ": " + sizeText(child.node->bytes) + "</title><rect x=\"" + number(box.x) +
             "\" y=\"" + number(box.y) + "\" width=\"" + number(box.width) + "\" height=\"" + number(box.height) +
             "\" fill=\"" + (isFolder ? "#f4f4f4" : kColours.at(static_cast<std::size_t>(depth) % kColours.size())) +
             "\"/>";
    bool const hasLabel = box.height >= kLabelHeight + 2 && drawLabel(child, box);
    text_ += "</g>\n";
    if (!isFolder || depth >= kDeepest) return;
    double const top = hasLabel ? kLabelHeight + 2 : 2;
    draw(*child.node, path, {box.x + 2, box.y + top, box.width - 4, box.height - top - 2}, depth + 1);
  }

  bool drawLabel(Child const& child, Box const& box) {
    std::u16string const label = shortened(child.name, box.width - 6);
    if (label.empty()) return false;
    text_ += "<text x=\"" + number(box.x + 3) + "\" y=\"" + number(box.y + kLabelHeight - 3) + "\">" + escaped(label) +
             "</text>";
    return true;
  }

  std::string text_;
};

void Treemap::add(std::u16string_view path, std::uint64_t bytes) {
  Node* node = &root_;
  node->bytes += bytes;
  int depth = 0;
  while (!path.empty() && depth++ <= kDeepest) {
    std::size_t const begin = std::min(path.find_first_not_of(u'/'), path.size());
    path.remove_prefix(begin);
    if (path.empty()) return;
    std::size_t const end = std::min(path.find(u'/'), path.size());
    auto& child = node->children[std::u16string(path.substr(0, end))];
    if (!child) child = std::make_unique<Node>();
    node = child.get();
    node->bytes += bytes;
    path.remove_prefix(end);
  }
}

std::string Treemap::svg(std::u16string const& title) const {
  Drawing drawing;
  if (root_.bytes > 0) drawing.draw(root_, u"", {0, kTitleHeight, kWidth, kHeight - kTitleHeight}, 0);
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
         number(kWidth) + "\" height=\"" + number(kHeight) + "\" viewBox=\"0 0 " + number(kWidth) + " " +
         number(kHeight) +
         "\" font-family=\"sans-serif\" font-size=\"11\" stroke-width=\"0.5\">\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n<text x=\"4\" y=\"16\" font-size=\"14\">" +
         escaped(title) + ": " + sizeText(root_.bytes) + " stored</text>\n<g stroke=\"#555\">\n" +
         // Letters have no outline.
         drawing.take() + "</g>\n<style>text { stroke: none }</style>\n</svg>\n";
}

}  // namespace ztpkg
