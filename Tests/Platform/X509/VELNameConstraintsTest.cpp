// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELNameConstraints.h"
#include "Platform/X509/VELDERReader.h"
#include "Tests/Support/CertificateForge.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

// The comparison of names by itself: in a chain, OpenSSL refuses most of the same names once more.

namespace {

namespace der = vel::der;
using vel::x509::CertificateParts;

constexpr std::uint8_t mailForm = der::contextPrimitive(1);
constexpr std::uint8_t hostForm = der::contextPrimitive(2);
constexpr std::uint8_t directoryForm = der::context(4);
constexpr std::uint8_t uriForm = der::contextPrimitive(6);
constexpr std::uint8_t wrappedURIForm = der::context(6);
constexpr std::uint8_t networkForm = der::contextPrimitive(7);

std::string treeOf(std::uint8_t form, std::string_view constraint) {
    return der::element(der::sequence, der::element(form, constraint));
}

/// Whether an issuer with these subtrees allows a certificate with the alternative names.
bool areAllowed(std::string_view permitted, std::string_view excluded, std::string_view names,
                std::string_view subject = {"\x30\x00", 2}) {
    CertificateParts certificate;
    certificate.subject = subject;
    certificate.extensions.alternativeNames = names;
    return vel::x509::allowsNames({permitted, excluded}, certificate);
}

bool isPermittedBy(const std::string& tree, const std::string& name) {
    return areAllowed(tree, "", name);
}

bool isExcludedBy(const std::string& tree, const std::string& name) {
    return !areAllowed("", tree, name);
}

/// How a name compares with a constraint: in neither sense, widely alone, or narrowly, too.
enum class Match { none, wide, narrow };

void PrintTo(Match match, std::ostream* stream) {
    *stream << (match == Match::none ? "none" : match == Match::wide ? "wide" : "narrow");
}

Match matchOf(std::uint8_t form, const std::string& constraint, const std::string& name) {
    const std::string tree = treeOf(form, constraint);
    const std::string encoded = der::element(form, name);
    const bool isPermitted = isPermittedBy(tree, encoded);
    const bool isExcluded = isExcludedBy(tree, encoded);
    EXPECT_TRUE(isExcluded || !isPermitted) << constraint << " and " << name;
    return !isExcluded ? Match::none : isPermitted ? Match::narrow : Match::wide;
}

struct ConstraintRow {
    std::string constraint;
    std::string name;
    Match match;
};

void expectMatches(std::uint8_t form, const std::vector<ConstraintRow>& table) {
    for (const ConstraintRow& row : table) {
        EXPECT_EQ(matchOf(form, row.constraint, row.name), row.match)
            << '"' << row.constraint << "\" and \"" << row.name << '"';
    }
}

TEST(AllowedNames, OfHosts) {
    const std::vector<ConstraintRow> table = {
        {"", "", Match::narrow},
        {"", "a.example", Match::narrow},
        {"example", "example", Match::narrow},
        {"example", "EXAMPLE", Match::narrow},
        {"EXAMPLE", "example", Match::narrow},
        {"AZaz", "azAZ", Match::narrow},
        {"@", "`", Match::none},
        {"[", "{", Match::none},
        {"`", "@", Match::none},
        {"{", "[", Match::none},
        {"example", "examplf", Match::none},
        {"example", "fxample", Match::none},
        {"example", "a.example", Match::narrow},
        {"example", "A.Example", Match::narrow},
        {"example", "b.a.example", Match::narrow},
        {"example", ".example", Match::narrow},
        {"example", "aexample", Match::none},
        {"example", "a.examplf", Match::none},
        {"example", "example.a", Match::none},
        {"example", "xample", Match::none},
        {"example", "e", Match::none},
        {"example", "", Match::none},
        {"a.example", "example", Match::none},
        {".example", "a.example", Match::narrow},
        {".example", "b.a.example", Match::narrow},
        {".example", ".example", Match::narrow},
        {".example", "example", Match::none},
        {".example", "aexample", Match::none},
        {".example", "a.examplf", Match::none},
    };
    expectMatches(hostForm, table);
}

TEST(AllowedNames, OfEMailAddresses) {
    const std::vector<ConstraintRow> table = {
        {"a@example", "a@example", Match::narrow},
        {"a@example", "A@EXAMPLE", Match::narrow},
        {"a@example", "b@example", Match::none},
        {"a@example", "a@a.example", Match::none},
        {"example", "a@example", Match::narrow},
        {"example", "a@Example", Match::narrow},
        {"example", "@example", Match::narrow},
        {"example", "a@a.example", Match::none},
        {"example", "a@.example", Match::none},
        {"example", "a@bexample", Match::none},
        {"example", "a@exampl", Match::none},
        {"example", "example@a", Match::none},
        {".example", "a@a.example", Match::narrow},
        {".example", "a@b.A.Example", Match::narrow},
        {".example", "a@example", Match::none},
        {".example", "a@.example", Match::none},
        {".example", "a@xexample", Match::none},
        // Nobody knows what is the host.
        {"example", "a@b@example", Match::wide},
        {".example", "a@b@a.example", Match::wide},
        {"example", "a@example@b", Match::none},
        {"a@b@example", "a@b@example", Match::narrow},
        // What has no host may be any address.
        {"example", "example", Match::wide},
        {"example", "b", Match::wide},
        {"example", "", Match::wide},
        {".example", "a.example", Match::wide},
        {"a@example", "a", Match::wide},
        {"", "a", Match::wide},
        {"", "a@example", Match::wide},
        {"", "a@", Match::wide},
    };
    expectMatches(mailForm, table);
}

TEST(AllowedNames, OfURIs) {
    const std::vector<ConstraintRow> table = {
        {"example", "http://example", Match::narrow},
        {"example", "http://Example/a", Match::narrow},
        {"example", "http://example:80", Match::narrow},
        {"example", "http://example:80/a", Match::narrow},
        {"example", "x://example/http://b", Match::narrow},
        {"example", "http://a.example", Match::none},
        {"example", "http://b/example", Match::none},
        {"example", "http://b:example", Match::none},
        {"example", "http:/example", Match::wide},
        {"example", "example", Match::wide},
        {"example", "b", Match::wide},
        {".example", "http://a.example", Match::narrow},
        {".example", "http://a.example:80/", Match::narrow},
        {".example", "http://b.A.Example/", Match::narrow},
        {".example", "http://example", Match::none},
        {".example", "http://.example", Match::none},
        {".example", "http://aexample", Match::none},
        // One reading of several.
        {"example", "http://examples", Match::wide},
        {"example", "http://example.a", Match::wide},
        {"example", "http://exampl", Match::none},
        {".example", "http://a.example.b", Match::none},
        {"example", "http://a@example", Match::wide},
        {"example", "http://a:b@example:80/", Match::wide},
        {"example", "http://a@b@example", Match::wide},
        {"example", "http://example:80@b", Match::wide},
        {"example", "http://example@b", Match::wide},
        {".example", "http://a.example@b", Match::none},
        {".example", "http://a@b.example/", Match::narrow},
        {".example", "http://a:b@b.example/", Match::wide},
        {".example", "http://b?.example", Match::wide},
        {".example", "http://b#.example", Match::wide},
        {".example", "http://a.example?b", Match::wide},
        {".example", "http://a.example#b", Match::wide},
        {"example", "http://b/@example", Match::none},
        {"example", "http://b?@example", Match::none},
        {"example", "http://b#@example", Match::none},
        {"", "http://example", Match::wide},
    };
    expectMatches(uriForm, table);
}

TEST(AllowedNames, OfURIsAlsoInsideAString) {
    const std::string text = der::element(der::ia5String, "http://example/");
    const std::string host = der::element(der::ia5String, "example");
    const std::string plain = treeOf(uriForm, "example");
    const std::string wrapped = treeOf(wrappedURIForm, host);
    const std::string other = treeOf(uriForm, "b");
    for (const std::string& name :
         {der::element(uriForm, "http://example/"), der::element(wrappedURIForm, text)}) {
        for (const std::string& tree : {plain, wrapped}) {
            EXPECT_TRUE(isPermittedBy(tree, name));
            EXPECT_TRUE(isExcludedBy(tree, name));
        }
        EXPECT_FALSE(isPermittedBy(other, name));
        EXPECT_FALSE(isExcludedBy(other, name));
    }
    // What is in no string has no meaning: it permits nothing that is written so.
    const std::string unread = treeOf(wrappedURIForm, "example");
    EXPECT_FALSE(isPermittedBy(unread, der::element(wrappedURIForm, "example")));
    EXPECT_FALSE(isExcludedBy(unread, der::element(wrappedURIForm, "example")));
}

TEST(AllowedNames, OfNetworkAddresses) {
    struct NetworkRow {
        const char* constraint;
        const char* name;
        Match match;
    };
    const NetworkRow table[] = {
        {"0A000000 FF000000", "0A010203", Match::narrow},
        {"0A000000 FF000000", "0B010203", Match::none},
        {"0AFFFFFF FF000000", "0A010203", Match::narrow}, // bits outside the mask do not count
        {"00000000 00000000", "FFFFFFFF", Match::narrow},
        {"0A010203 FFFFFFFF", "0A010203", Match::narrow},
        {"0A010203 FFFFFFFF", "0A010202", Match::none},
        {"0A010203 FFFFFFFF", "8A010203", Match::none},
        {"0A010200 FFFFFF80", "0A01027F", Match::narrow},
        {"0A010200 FFFFFF80", "0A010280", Match::none},
        {"20010DB8000000000000000000000000 FFFFFFFF000000000000000000000000",
         "20010DB8000000000000000000000001", Match::narrow},
        {"20010DB8000000000000000000000000 FFFFFFFF000000000000000000000000",
         "20010DB9000000000000000000000001", Match::none},
        {"20010DB8000000000000000000000001 FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF",
         "20010DB8000000000000000000000002", Match::none},
        // What is no address may be any.
        {"00000000 00000000", "", Match::wide},
        {"0A000000 FF000000", "0B0102", Match::wide},
        {"0A000000 FF000000", "0B01020304", Match::wide},
        {"0A0000 FF0000", "0B0102", Match::wide},
        {"0A000000 FF0000", "0B010203", Match::wide},
        {"0A000000 FF000000 00", "0B010203", Match::wide},
        {"", "0B010203", Match::wide},
        // An address of the other version.
        {"00000000 00000000", "00000000000000000000000000000000", Match::none},
        {"00000000000000000000000000000000 00000000000000000000000000000000", "00000000",
         Match::none},
    };
    for (const NetworkRow& row : table) {
        EXPECT_EQ(
            matchOf(networkForm, bytesOfHexadecimal(row.constraint), bytesOfHexadecimal(row.name)),
            row.match)
            << row.constraint << " and " << row.name;
    }
}

TEST(AllowedNames, OfDirectoryNames) {
    const auto joined = [](const std::vector<std::string>& names) {
        std::string content;
        for (const std::string& name : names) {
            content += der::Reader(name).next()->content;
        }
        return der::element(der::sequence, content);
    };
    const std::string empty = der::element(der::sequence, "");
    const std::string firm = nameOf("Firm");
    const std::string below = joined({firm, nameOf("Leaf")});
    const std::vector<ConstraintRow> table = {
        {firm, below, Match::narrow},
        {firm, firm, Match::wide},
        {firm, nameOf("FIRM"), Match::none},
        {firm, joined({nameOf("Leaf"), firm}), Match::none},
        {below, firm, Match::none},
        {firm, empty, Match::none},
        {empty, firm, Match::narrow},
        {empty, empty, Match::wide},
        // What is no name may be any.
        {firm, "bad", Match::wide},
        {"bad", firm, Match::wide},
        {firm, "", Match::wide},
        {"", firm, Match::wide},
        {"bad", "bad", Match::wide},
    };
    expectMatches(directoryForm, table);
}

TEST(AllowedNames, AreOfTheFormOfTheSubtree) {
    const std::uint8_t forms[] = {der::context(0), mailForm,      hostForm,
                                  der::context(3), directoryForm, der::context(5),
                                  uriForm,         networkForm,   der::contextPrimitive(8)};
    for (const std::uint8_t form : forms) {
        for (const std::uint8_t other : forms) {
            if (form == other) {
                continue;
            }
            const std::string tree = treeOf(form, "a");
            EXPECT_TRUE(areAllowed(tree, tree, der::element(other, "a")))
                << int{form} << " and " << int{other};
        }
    }
    for (const std::uint8_t form : {forms[0], forms[3], forms[5], forms[8]}) {
        EXPECT_EQ(matchOf(form, "a", "a"), Match::none) << int{form};
        const std::string tree = treeOf(form, "a");
        EXPECT_FALSE(vel::x509::areSubtreesSupported({tree, ""})) << int{form};
        EXPECT_FALSE(vel::x509::areSubtreesSupported({"", tree})) << int{form};
        EXPECT_FALSE(vel::x509::areSubtreesSupported({treeOf(hostForm, "a") + tree, ""}));
    }
    for (const std::uint8_t form : {mailForm, hostForm, directoryForm, uriForm, networkForm}) {
        const std::string tree = treeOf(form, "a");
        EXPECT_TRUE(vel::x509::areSubtreesSupported({tree, tree})) << int{form};
    }
    const std::string wrapped = treeOf(wrappedURIForm, der::element(der::ia5String, "a"));
    EXPECT_TRUE(vel::x509::areSubtreesSupported({wrapped, wrapped}));
    EXPECT_FALSE(vel::x509::areSubtreesSupported({treeOf(wrappedURIForm, "a"), ""}));
    EXPECT_TRUE(vel::x509::areSubtreesSupported({"", ""}));
}

/// Every text of up to `length` of the characters.
std::vector<std::string> textsOf(std::string_view characters, std::size_t length) {
    std::vector<std::string> texts = {""};
    for (std::size_t start = 0; length > 0; --length) {
        const std::size_t end = texts.size();
        for (; start < end; ++start) {
            for (const char character : characters) {
                texts.push_back(texts[start] + character);
            }
        }
    }
    return texts;
}

TEST(AllowedNames, AreNeverThoseThatAreExcludedAsTheyArePermitted) {
    const std::vector<std::string> constraints = textsOf("aB.@", 2);
    for (const std::string& name : textsOf("a.@:/", 4)) {
        for (const std::string& constraint : constraints) {
            for (const std::uint8_t form : {mailForm, hostForm, uriForm}) {
                const std::string tree = treeOf(form, constraint);
                const std::string text = form == uriForm ? "a://" + name : name;
                ASSERT_FALSE(areAllowed(tree, tree, der::element(form, text)))
                    << int{form} << ": " << constraint << " and " << text;
            }
        }
    }
}

TEST(AllowedNames, MatchOneOfThePermittedSubtreesAndNoneOfTheExcluded) {
    const std::string a = treeOf(hostForm, "a");
    const std::string b = treeOf(hostForm, "b");
    const std::string mail = treeOf(mailForm, "a");
    const std::string hostA = der::element(hostForm, "a");
    const std::string hostB = der::element(hostForm, "b");
    const std::string hostC = der::element(hostForm, "c");
    const std::string mailA = der::element(mailForm, "a@a");
    for (const auto& [permitted, excluded] :
         {std::pair(a + b, ""), std::pair(b + a, ""), std::pair(mail + a + b, "")}) {
        EXPECT_TRUE(areAllowed(permitted, excluded, hostA + hostB));
        EXPECT_FALSE(areAllowed(permitted, excluded, hostA + hostC));
        EXPECT_FALSE(areAllowed(permitted, excluded, hostC + hostA));
    }
    for (const std::string& excluded : {a + b, b + a, mail + a + b}) {
        EXPECT_TRUE(areAllowed("", excluded, hostC));
        EXPECT_FALSE(areAllowed("", excluded, hostC + hostA));
        EXPECT_FALSE(areAllowed("", excluded, hostA + hostC));
        EXPECT_FALSE(areAllowed("", excluded, hostB));
    }
    EXPECT_FALSE(areAllowed(a, a, hostA));
    EXPECT_TRUE(areAllowed(a, b, hostA));
    EXPECT_FALSE(areAllowed(a, mail, hostA + mailA));
    EXPECT_TRUE(areAllowed(a, "", hostA + mailA));
    EXPECT_TRUE(areAllowed("", "", hostA + mailA));
    EXPECT_TRUE(areAllowed(a, a, ""));
}

/// A name with an e-mail address in a string of the type `tag`.
std::string nameWithAddress(std::uint8_t tag, const std::string& text) {
    return der::element(
        der::sequence,
        der::element(der::set,
                     der::element(der::sequence, objectIdentifier("1.2.840.113549.1.9.1") +
                                                     der::element(tag, text))));
}

TEST(AllowedNames, AreThoseOfTheSubject) {
    const std::string empty = der::element(der::sequence, "");
    const std::string mail = treeOf(mailForm, "example");
    const std::string directory = treeOf(directoryForm, nameOf("Firm"));
    const std::string inside = nameWithAddress(der::ia5String, "a@example");
    const std::string outside = nameWithAddress(der::ia5String, "a@b");
    EXPECT_TRUE(areAllowed(mail, "", "", inside));
    EXPECT_FALSE(areAllowed("", mail, "", inside));
    EXPECT_FALSE(areAllowed(mail, "", "", outside));
    EXPECT_TRUE(areAllowed("", mail, "", outside));
    EXPECT_TRUE(areAllowed(mail, mail, "", nameOf("a@example"))) << "another attribute";
    const std::string unread = nameWithAddress(der::utf8String, "\xFF");
    EXPECT_FALSE(areAllowed(mail, "", "", unread));
    EXPECT_FALSE(areAllowed("", mail, "", unread));
    EXPECT_FALSE(areAllowed(mail, "", der::element(mailForm, "a@b"), inside));
    EXPECT_FALSE(areAllowed(mail, "", der::element(mailForm, "a@example"), outside));

    EXPECT_FALSE(areAllowed("", directory, "", nameOf("Firm")));
    EXPECT_FALSE(areAllowed(directory, "", "", nameOf("Other")));
    EXPECT_TRUE(areAllowed("", directory, "", nameOf("Other")));
    EXPECT_TRUE(areAllowed(directory, directory, "", empty));
    EXPECT_FALSE(areAllowed(directory, "", der::element(directoryForm, empty), empty));
}

std::string manyTrees(std::size_t count) {
    std::string trees;
    for (std::size_t number = 0; number < count; ++number) {
        trees += treeOf(mailForm, "a");
    }
    return trees;
}

std::string manyHosts(std::size_t count) {
    std::string names;
    for (std::size_t number = 0; number < count; ++number) {
        names += der::element(hostForm, "a");
    }
    return names;
}

TEST(AllowedNames, AreComparedWithSoManySubtreesAndNoMore) {
    EXPECT_TRUE(areAllowed(manyTrees(1'023), manyTrees(1'023), manyHosts(1)));
    EXPECT_FALSE(areAllowed(manyTrees(1'024), "", manyHosts(1)));
    EXPECT_FALSE(areAllowed("", manyTrees(1'024), manyHosts(1)));
    // 1,024 times 1,024 comparisons. Each attribute of the subject counts as a name, too.
    for (const auto& [permitted, excluded] : {std::pair(1'023, 1), std::pair(1, 1'023)}) {
        const std::string left = manyTrees(static_cast<std::size_t>(permitted));
        const std::string right = manyTrees(static_cast<std::size_t>(excluded));
        EXPECT_TRUE(areAllowed(left, right, manyHosts(1'024)));
        EXPECT_FALSE(areAllowed(left, right, manyHosts(1'025)));
        EXPECT_TRUE(areAllowed(left, right, manyHosts(1'022), nameOf("Leaf")));
        EXPECT_FALSE(areAllowed(left, right, manyHosts(1'023), nameOf("Leaf")));
    }
}

} // namespace
