#include "class_a/standard/CNumberConversion.h"
#include "class_a/standard/number_text.h"

namespace ksl {

std::string CNumberConversion::toString(signed char value) {
    return decimal_text(static_cast<long long>(value));
}

std::string CNumberConversion::toString(unsigned char value) {
    return decimal_text(static_cast<unsigned long long>(value));
}

std::string CNumberConversion::toString(short value) {
    return decimal_text(static_cast<long long>(value));
}

std::string CNumberConversion::toString(unsigned short value) {
    return decimal_text(static_cast<unsigned long long>(value));
}

std::string CNumberConversion::toString(int value) {
    return decimal_text(static_cast<long long>(value));
}

std::string CNumberConversion::toString(unsigned int value) {
    return decimal_text(static_cast<unsigned long long>(value));
}

std::string CNumberConversion::toString(long value) {
    return decimal_text(static_cast<long long>(value));
}

std::string CNumberConversion::toString(unsigned long value) {
    return decimal_text(static_cast<unsigned long long>(value));
}

std::string CNumberConversion::toString(long long value) {
    return decimal_text(value);
}

std::string CNumberConversion::toString(unsigned long long value) {
    return decimal_text(value);
}

std::string CNumberConversion::toString(double value) {
    return general_text(value);
}

std::string CNumberConversion::toString(float value) {
    return fixed_text(value);
}

}  // namespace ksl
