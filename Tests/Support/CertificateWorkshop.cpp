// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/CertificateWorkshop.h"

#include "Base/VELBase64.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/Oracle.h"

#include <stdexcept>

namespace {

constexpr const char* configuration = R"([req]
distinguished_name = names
prompt = no
utf8 = yes
string_mask = STRING_MASK
[names]
[ca]
default_ca = authority
[authority]
database = FOLDER/index.txt
new_certs_dir = FOLDER
rand_serial = yes
unique_subject = no
policy = any
email_in_dn = yes
copy_extensions = none
[any]
)";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

void run(const std::string& command) {
    const OracleAnswer answer = askOracle("{ " + command + "; } 2>&1");
    if (answer.status != 0) {
        throw std::runtime_error(command + "\n" + answer.output);
    }
}

} // namespace

CertificateWorkshop::CertificateWorkshop() {
    _folder.write("index.txt", "");
}

std::string CertificateWorkshop::path(const std::string& file) const {
    return _folder.path() + "/" + file;
}

std::string CertificateWorkshop::certificateFile(const std::string& name) const {
    return path(name + ".pem");
}

std::string CertificateWorkshop::keyFile(const std::string& name) const {
    return path(name + ".key");
}

std::string CertificateWorkshop::derOfFile(const std::string& path) {
    constexpr std::string_view begin = "-----BEGIN CERTIFICATE-----";
    const std::string text = contentOf(path);
    const std::size_t start = text.find(begin);
    const std::size_t end = text.find("-----END CERTIFICATE-----");
    if (start == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("no certificate in " + path);
    }
    const std::size_t first = start + begin.size();
    return vel::bytesOfBase64(text.substr(first, end - first)).value();
}

std::string CertificateWorkshop::make(const CertificateOrder& order) {
    const std::string settings = _folder.write(
        order.name + ".cnf", replaced(replaced(configuration, "STRING_MASK", order.stringMask),
                                      "FOLDER", _folder.path()));
    const std::string extensions =
        _folder.write(order.name + ".ext", "[wanted]\n" + order.extensions);
    const std::string key = keyFile(order.name);
    std::string script = order.keyOf.empty()
                             ? "openssl genpkey -algorithm " + order.key + " -out " + key
                             : "cp " + keyFile(order.keyOf) + " " + key;
    const std::string subject = order.subject.empty() ? "/CN=" + order.name : order.subject;
    script += " && openssl req -new -utf8 -config " + settings + " -key " + key + " -subj '" +
              subject + "' -out " + path(order.name + ".csr");
    const std::string signer = order.issuer.empty() ? " -selfsign -keyfile " + key
                                                    : " -cert " + certificateFile(order.issuer) +
                                                          " -keyfile " + keyFile(order.issuer);
    script += " && openssl ca -batch -notext -preserveDN -config " + settings + signer + " -in " +
              path(order.name + ".csr") + " -out " + certificateFile(order.name) + " -startdate " +
              order.notBefore + " -enddate " + order.notAfter + " -md " + order.digest + " " +
              order.signing;
    if (!order.extensions.empty()) {
        script += " -extensions wanted -extfile " + extensions;
    }
    run(script);
    return derOfFile(certificateFile(order.name));
}

std::string CertificateWorkshop::makeAuthority(const std::string& name, const std::string& issuer) {
    return make({.name = name, .issuer = issuer, .extensions = authorityExtensions});
}

std::string CertificateWorkshop::makeLeaf(const std::string& name, const std::string& issuer) {
    return make({.name = name, .issuer = issuer, .extensions = leafExtensions});
}

bool CertificateWorkshop::opensslTrusts(const std::string& leaf, const std::string& anchor,
                                        const std::vector<std::string>& intermediates,
                                        long moment) const {
    std::string pool;
    for (const std::string& name : intermediates) {
        pool += contentOf(certificateFile(name));
    }
    std::string command = "openssl verify -partial_chain -no-CAfile -no-CApath -no-CAstore"
                          " -attime " +
                          std::to_string(moment) + " -trusted " + certificateFile(anchor);
    if (!pool.empty()) {
        command += " -untrusted " + _folder.write("untrusted.pem", pool);
    }
    return askOracle(command + " " + certificateFile(leaf) + " 2>/dev/null").status == 0;
}
