#ifndef CMNSYS_TESTS_PACKAGE_CONSUMER_OLD_STANDARD_H_
#define CMNSYS_TESTS_PACKAGE_CONSUMER_OLD_STANDARD_H_

// The address of a nested enum's constant, taken in a file that compiles as C++11.
const void* AddressOfNestedEnumConstant();

#endif  // CMNSYS_TESTS_PACKAGE_CONSUMER_OLD_STANDARD_H_
