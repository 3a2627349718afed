// The C library's single-precision elementary functions behind vorn::f32.
#include "math/f32.h"

#include <cmath>

namespace vorn::f32 {

float log(float x) {
    return std::log(x);
}
float log10(float x) {
    return std::log10(x);
}
float exp(float x) {
    return std::exp(x);
}
float pow(float x, float y) {
    return std::pow(x, y);
}
float sqrt(float x) {
    return std::sqrt(x);
}
float sin(float x) {
    return std::sin(x);
}

}  // namespace vorn::f32
