#include <cmath>

#include "navreq/engine/service_overrides.h"
#include "navreq/engine/services.h"
#include "overrides.h"

namespace zv_navi_core {
namespace math {

// Haversine formula on a sphere of the mean earth radius (6,371,008.8 m).
double CalcDistanceFromLatLon(double lat1, double lon1, double lat2, double lon2) {
  const auto& replaced = navreq::services::detail::current<navreq::services::detail::DistanceSlot>();
  if (replaced) return replaced(lat1, lon1, lat2, lon2);
  constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;
  const double phi1 = lat1 * kRadiansPerDegree;
  const double phi2 = lat2 * kRadiansPerDegree;
  const double dPhi = (lat2 - lat1) * kRadiansPerDegree;
  const double dLambda = (lon2 - lon1) * kRadiansPerDegree;
  const double s = std::sin(dPhi / 2);
  const double t = std::sin(dLambda / 2);
  double a = s * s + std::cos(phi1) * std::cos(phi2) * t * t;
  if (a > 1.0) a = 1.0;  // rounding can push antipodal points just past 1
  return 2.0 * navreq::services::kEarthRadiusMetres * std::asin(std::sqrt(a));
}

}  // namespace math
}  // namespace zv_navi_core
