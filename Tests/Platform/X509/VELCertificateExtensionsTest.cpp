// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateExtensions.h"
#include "Platform/X509/VELDERReader.h"
#include "Tests/Support/CertificateForge.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The reading of extensions by itself: in a certificate, OpenSSL refuses most of the same forms
// once more.

namespace {

using namespace std::string_literals;
using namespace vel::x509;
namespace der = vel::der;

const std::string distributionPoints = "2.5.29.31";
const std::string policies = "2.5.29.32";
const std::string purposes = "2.5.29.37";
const std::string authorityAccess = "1.3.6.1.5.5.7.1.1";
const std::string statements = "1.3.6.1.5.5.7.1.3";

/// Whether the value can be read, as a critical extension and as another one.
bool isValueRead(const std::string& type, const std::string& value) {
    const std::string extension = extensionOf(type, value);
    const bool isRead = !certificateExtensions(extension).value().hasUnreadable;
    EXPECT_EQ(certificateExtensions(extensionOf(type, value, asCritical)).has_value(), isRead);
    return isRead;
}

TEST(ReadExtensions, HaveNoMoreAndNoFewerParts) {
    struct FormRow {
        const char* what;
        std::string type;
        const char* value; ///< in hexadecimal
        bool isRead;
    };
    const FormRow table[] = {
        {"subject key identifier", "2.5.29.14", "040101", true},
        {"without a value", "2.5.29.14", "", false},
        {"key usage", "2.5.29.15", "03020780", true},
        {"without a value", "2.5.29.15", "", false},
        {"seven unused bits", "2.5.29.15", "03020780", true},
        {"eight unused bits", "2.5.29.15", "03020800", false},
        {"no name", "2.5.29.17", "3000", false},
        {"without a value", "2.5.29.17", "", false},
        {"basic constraints without a value", "2.5.29.19", "", false},
        {"name constraints without a value", "2.5.29.30", "", false},
        {"name constraints in an octet string", "2.5.29.30", "0400", false},
        {"two permitted lists", "2.5.29.30", "3004a000a000", false},
        {"an excluded list before a permitted one", "2.5.29.30", "3004a100a000", false},
        {"a minimum without content", "2.5.29.30", "3008a006300482016180 00", false},
        {"a distribution point", distributionPoints, "30083006a004a0028600", true},
        {"without a value", distributionPoints, "", false},
        {"with a fourth part", distributionPoints, "300a3008a004a00286000500", false},
        {"with a name of no known form", distributionPoints, "30083006a004a0028900", false},
        {"with an issuer", distributionPoints, "30063004a2028600", true},
        {"with an issuer of no known form", distributionPoints, "30063004a2028900", false},
        {"with a name without content", distributionPoints, "30043002a000", false},
        {"with a reason before the name", distributionPoints, "300b3009810107a004a0028600", false},
        {"a policy", policies, "3005300306012a", true},
        {"without a value", policies, "", false},
        {"with qualifiers", policies, "3007300506012a3000", true},
        {"with something behind its qualifiers", policies, "3009300706012a30000500", false},
        {"with a number", policies, "3008300606012a020101", false},
        {"policy constraints", "2.5.29.36", "3006800101810102", true},
        {"without a value", "2.5.29.36", "", false},
        {"in a set", "2.5.29.36", "3103800101", false},
        {"with a negative first number", "2.5.29.36", "30068001ff810102", false},
        {"with a negative second number", "2.5.29.36", "30068001018101ff", false},
        {"in the other order", "2.5.29.36", "3006810102800101", false},
        {"authority key identifier", "2.5.29.35", "3003800107", true},
        {"without a value", "2.5.29.35", "", false},
        {"with a fourth part", "2.5.29.35", "3005800107 8300", false},
        {"with a serial number first", "2.5.29.35", "300c820107a1028600800107", false},
        {"inhibit any policy", "2.5.29.54", "020100", true},
        {"without a value", "2.5.29.54", "", false},
        {"an address", authorityAccess, "3007300506012a8600", true},
        {"without a value", authorityAccess, "", false},
        {"without a method", authorityAccess, "300430028600", false},
        {"without a method and a location", authorityAccess, "30023000", false},
        {"with something behind it", authorityAccess, "3009300706012a86000500", false},
        {"a statement", statements, "3005300306012a", true},
        {"without an identifier", statements, "300430020500", false},
        {"without any content", statements, "30023000", false},
    };
    for (const FormRow& row : table) {
        EXPECT_EQ(isValueRead(row.type, bytesOfHexadecimal(row.value)), row.isRead)
            << row.type << ' ' << row.what << ' ' << row.value;
    }
}

TEST(ReadExtensions, HaveAnIdentifierAndAValueEach) {
    const std::string type = objectIdentifier("1.2.3.4");
    const std::string value = der::element(der::octetString, "");
    const auto isRead = [](const std::string& content) {
        return certificateExtensions(der::element(der::sequence, content)).has_value();
    };
    EXPECT_TRUE(isRead(type + value));
    EXPECT_TRUE(isRead(type + asCritical + value));
    EXPECT_FALSE(isRead(value));
    EXPECT_FALSE(isRead(asCritical + value));
    EXPECT_FALSE(isRead(type));
    EXPECT_FALSE(isRead(type + asCritical));
    EXPECT_FALSE(isRead(asCritical + type + value));
    EXPECT_FALSE(isRead(type + value + asCritical));
    EXPECT_FALSE(isRead(type + "\x01\x01\x01" + value));
    EXPECT_FALSE(certificateExtensions(der::element(der::sequence, type + value) + "\x30"));
    EXPECT_FALSE(certificateExtensions(""));
}

std::string repeated(const std::string& bytes, std::size_t count) {
    std::string all;
    for (std::size_t number = 0; number < count; ++number) {
        all += bytes;
    }
    return all;
}

TEST(ReadExtensions, HaveSoManyElementsAndNoMore) {
    struct LimitRow {
        std::string type;
        std::string element;
        std::size_t limit;
    };
    const std::string policy = objectIdentifier("1.2.3");
    const LimitRow table[] = {
        {distributionPoints, bytesOfHexadecimal("3006a004a0028600"), 1'023},
        {policies, der::element(der::sequence, policy), 1'023},
        {"2.5.29.33", der::element(der::sequence, policy + policy), 1'023},
        {purposes, policy, 8'191},
        {authorityAccess, der::element(der::sequence, policy + "\x86\x00"s), 1'023},
        {statements, der::element(der::sequence, policy), 1'023},
    };
    for (const LimitRow& row : table) {
        const auto isRead = [&](std::size_t count) {
            return isValueRead(row.type, der::element(der::sequence, repeated(row.element, count)));
        };
        EXPECT_TRUE(isRead(1)) << row.type;
        EXPECT_TRUE(isRead(row.limit)) << row.type;
        EXPECT_FALSE(isRead(row.limit + 1)) << row.type;
        EXPECT_FALSE(isRead(0)) << row.type;
    }
    const auto areTypesRead = [&](std::size_t count) {
        return isValueRead(
            statements,
            der::element(der::sequence,
                         der::element(der::sequence,
                                      objectIdentifier("0.4.0.1862.1.6") +
                                          der::element(der::sequence, repeated(policy, count)))));
    };
    EXPECT_TRUE(areTypesRead(9));
    EXPECT_FALSE(areTypesRead(10));
}

TEST(ReadExtensions, AreSoManyAndNoMore) {
    const std::string most = repeated(extensionOf("1.2.3.4", ""), 9'998);
    const std::string other = extensionOf("1.2.3.5", "");
    const auto extensions = certificateExtensions(most + other);
    ASSERT_TRUE(extensions);
    EXPECT_TRUE(extensions->hasDuplicate);
    EXPECT_FALSE(certificateExtensions(most + other + other));
}

TEST(ReadExtensions, TellEachKeyUsage) {
    const auto usage = [](const char* value) {
        const std::string extension = extensionOf("2.5.29.15", bytesOfHexadecimal(value));
        return certificateExtensions(extension).value().keyUsage;
    };
    EXPECT_EQ(usage("03020780"), 0x001);
    EXPECT_EQ(usage("03020640"), 0x002);
    EXPECT_EQ(usage("03020520"), 0x004);
    EXPECT_EQ(usage("03020410"), 0x008);
    EXPECT_EQ(usage("03020308"), 0x010);
    EXPECT_EQ(usage("03020204"), 1U << keyCertSign);
    EXPECT_EQ(usage("03020102"), 0x040);
    EXPECT_EQ(usage("03020001"), 0x080);
    EXPECT_EQ(usage("0303070080"), 0x100);
    EXPECT_EQ(usage("030300FFFF"), 0xFFFF);
    EXPECT_EQ(usage("030303FFFF"), 0x1FFF);
    EXPECT_EQ(usage("03020304"), 0) << "an unused bit";
    EXPECT_EQ(usage("03020204 00"), std::nullopt);
}

TEST(ReadExtensions, TellTheirValues) {
    const std::string list =
        extensionOf("2.5.29.14", "\x04\x02sk"s) + extensionOf("2.5.29.35", "\x30\x04\x80\x02ik"s) +
        extensionOf("2.5.29.17", "\x30\x03\x82\x01h"s, asCritical) +
        extensionOf("2.5.29.19", bytesOfHexadecimal("30060101ff020103")) +
        extensionOf("2.5.29.30", bytesOfHexadecimal("300ea00530038201 61a10530038201 62"),
                    asCritical);
    const auto found = certificateExtensions(list);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->subjectKeyIdentifier, "sk");
    EXPECT_EQ(found->authorityKeyIdentifier, "ik");
    EXPECT_EQ(found->alternativeNames, "\x82\x01h"s);
    EXPECT_TRUE(found->hasCriticalAlternativeNames);
    EXPECT_TRUE(found->basicConstraints.value().isAuthority);
    EXPECT_EQ(found->basicConstraints->pathLength, 3U);
    EXPECT_EQ(found->nameSubtrees.value().permitted, "\x30\x03\x82\x01"
                                                     "a"s);
    EXPECT_EQ(found->nameSubtrees->excluded, "\x30\x03\x82\x01"
                                             "b"s);
    EXPECT_TRUE(found->nameSubtrees->isCritical);
    EXPECT_EQ(found->keyUsage, std::nullopt);
    EXPECT_FALSE(found->hasUnreadable);
    EXPECT_FALSE(found->hasDuplicate);
    EXPECT_FALSE(found->hasUnknownCritical);

    const std::string odd =
        extensionOf("2.5.29.17", "\x30\x03\x82\x01h"s) + extensionOf("2.5.29.14", "\x02\x01k"s) +
        extensionOf("2.5.29.30", "\x30\x00"s) + extensionOf("1.2.3.4", "", asCritical);
    const auto oddFound = certificateExtensions(odd);
    ASSERT_TRUE(oddFound);
    EXPECT_FALSE(oddFound->hasCriticalAlternativeNames);
    EXPECT_FALSE(oddFound->nameSubtrees.value().isCritical);
    EXPECT_EQ(oddFound->subjectKeyIdentifier, "");
    EXPECT_TRUE(oddFound->hasUnreadable);
    EXPECT_TRUE(oddFound->hasUnknownCritical);
    EXPECT_EQ(oddFound->basicConstraints.has_value(), false);
}

} // namespace
