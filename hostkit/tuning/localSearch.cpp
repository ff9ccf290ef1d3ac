#include "hostkit/tuning/localSearch.h"

#include <nlopt.h>

#include <exception>
#include <memory>
#include <new>

namespace nivra::hostkit {

namespace {

constexpr double kFirstStep = 0.15;
constexpr double kLastStep = 0.004;  // values have two digits

/// What a call from C needs to know.
struct Climb {
  const std::function<std::optional<double>(const SearchPoint&)>& heightAt;
  nlopt_opt search;
  std::exception_ptr fault;

  static double heightOf(unsigned count, const double* numbers, double*, void* data) {
    Climb& self = *static_cast<Climb*>(data);
    std::optional<double> height;
    try {
      height = self.heightAt(SearchPoint(numbers, numbers + count));
    } catch (...) {
      self.fault = std::current_exception();
    }
    if (!height) nlopt_force_stop(self.search);
    return height.value_or(0.0);
  }
};

}  // namespace

void goUphill(const SearchPoint& start, const std::function<std::optional<double>(const SearchPoint&)>& heightAt) {
  const std::unique_ptr<nlopt_opt_s, void (*)(nlopt_opt)> search(
      nlopt_create(NLOPT_LN_SBPLX, static_cast<unsigned>(start.size())), nlopt_destroy);
  if (!search) throw std::bad_alloc();
  Climb climb = {heightAt, search.get(), nullptr};
  nlopt_set_max_objective(search.get(), Climb::heightOf, &climb);
  nlopt_set_lower_bounds1(search.get(), 0.0);
  nlopt_set_upper_bounds1(search.get(), 1.0);
  nlopt_set_initial_step1(search.get(), kFirstStep);
  nlopt_set_xtol_abs1(search.get(), kLastStep);
  SearchPoint place = start;
  double ignored = 0.0;
  nlopt_optimize(search.get(), place.data(), &ignored);
  if (climb.fault) std::rethrow_exception(climb.fault);
}

}  // namespace nivra::hostkit
