#pragma once

#include <cstddef>
#include <vector>

namespace nivra::hostkit {

/// Costs of giving columns to rows, row after row.
struct CostMatrix {
  std::size_t rows = 0;
  std::size_t columns = 0;
  std::vector<double> costs;

  /// Takes this size, with every cost 0.
  void reset(std::size_t rowCount, std::size_t columnCount) {
    rows = rowCount;
    columns = columnCount;
    costs.assign(rowCount * columnCount, 0.0);
  }
  double& at(std::size_t row, std::size_t column) { return costs[row * columns + column]; }
  double at(std::size_t row, std::size_t column) const { return costs[row * columns + column]; }
};

/// Gives each row a column of its own, or each column a row where there are fewer, at the least total cost.
///
/// By shortest augmenting paths (Jonker and Volgenant 1987; for rectangles: Crouse, "On implementing 2D rectangular
/// assignment algorithms", 2016), in O(shorter side^2 * longer side). Of assignments that cost the same, the one is
/// taken that the plain form of this algorithm finds when it prefers free columns, and of those the first: evaluations
/// that others publish depend on it wherever boxes coincide.
class AssignmentSolver {
 public:
  static constexpr int kNone = -1;

  /// @param matrix Of finite costs.
  /// @return The column of each row, or `kNone`; stays until the next call.
  const std::vector<int>& solve(const CostMatrix& matrix);

 private:
  void solveWide(const CostMatrix& matrix);
  bool takeNearest(const CostMatrix& matrix, std::size_t row);
  std::size_t findPath(const CostMatrix& matrix, std::size_t start);
  void updatePrices(std::size_t start);
  void augment(std::size_t start, std::size_t end);

  CostMatrix transposed;
  std::vector<double> rowPrices;
  std::vector<double> columnPrices;
  std::vector<int> columnOfRow;
  std::vector<int> rowOfColumn;
  std::vector<int> columnsOfTransposed;

  // Of the path that is being looked for.
  std::vector<double> distances;          // to columns
  std::vector<std::size_t> predecessors;  // the row from which each column is reached
  std::vector<std::size_t> openColumns;
  std::vector<std::size_t> closedColumns;
  std::vector<std::size_t> visitedRows;
  double pathCost = 0.0;
};

}  // namespace nivra::hostkit
