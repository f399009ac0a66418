#include "bench/results.h"

#include <cstdio>
#include <utility>

namespace bench {
namespace {

std::string DescriptionOf(const Figure& figure) {
  std::string text = figure.index;
  const auto append = [&](const std::string& part) {
    if (!text.empty()) text += " ";
    text += part;
  };
  if (figure.depth > 0) append("depth=" + std::to_string(figure.depth));
  if (figure.n > 0) append("n=" + std::to_string(figure.n));
  if (figure.leaves > 0) append("leaves=" + std::to_string(figure.leaves));
  if (!figure.variant.empty()) append(figure.variant);
  return text;
}

std::string Number(double value) {
  if (value == 0) return "-";
  char text[32];
  std::snprintf(text, sizeof(text), value < 10 ? "%.2f" : value < 1000 ? "%.1f" : "%.0f", value);
  return text;
}

}  // namespace

Figure FigureOf(std::string name, const Model& model, Placement placement) {
  Figure figure;
  figure.name = std::move(name);
  figure.index = model.hash ? "hash" : "tree";
  figure.depth = model.depth;
  figure.n = model.entries;
  figure.leaves = model.leaves;
  if (model.second_list) figure.variant = "second-list";
  figure.placement = NameOf(placement);
  return figure;
}

void PrintTableHead() {
  std::printf("%-24s %-44s %-10s %10s %10s %10s %7s  %s\n", "figure", "of", "cores", "median",
              "p99", "floor", "ratio", "unit");
}

void Results::Add(Figure figure) {
  if (!figure.error.empty()) {
    std::printf("%-24s %-44s %-10s failed: %s\n", figure.name.c_str(),
                DescriptionOf(figure).c_str(), figure.placement.c_str(), figure.error.c_str());
    std::fflush(stdout);
    figures_.push_back(std::move(figure));
    return;
  }
  const double ratio = figure.Ratio();
  std::printf("%-24s %-44s %-10s %10s %10s %10s %7s  %s\n", figure.name.c_str(),
              DescriptionOf(figure).c_str(), figure.placement.c_str(),
              Number(figure.median).c_str(), Number(figure.p99).c_str(),
              Number(figure.floor).c_str(), Number(ratio).c_str(), figure.unit.c_str());
  std::fflush(stdout);
  figures_.push_back(std::move(figure));
}

}  // namespace bench
