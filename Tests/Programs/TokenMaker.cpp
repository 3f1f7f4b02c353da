// SPDX-License-Identifier: Apache-2.0
#include <p11-kit/p11-kit.h>
#include <p11-kit/pkcs11.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// Makes PKCS#11 tokens with the module at the path given, as the lines of standard input say:
//
//     token LABEL               a new token, which the following objects are on
//     certificate ID FILE       the bytes of the file as a certificate
//     private-key ID hidden     a private key that shows after login alone
//     private-key ID visible    one that everybody sees
//     public-key ID
//
// The ID "-" is empty.

namespace {

CK_FUNCTION_LIST* module = nullptr;
CK_SESSION_HANDLE session = CK_INVALID_HANDLE;
CK_UTF8CHAR pin[] = {'1', '2', '3', '4'};
CK_BBOOL yes = CK_TRUE;
CK_BBOOL no = CK_FALSE;

void require(CK_RV result, const std::string& line) {
    if (result != CKR_OK) {
        std::fprintf(stderr, "%s: %s\n", line.c_str(), p11_kit_strerror(result));
        std::exit(1);
    }
}

CK_SLOT_ID freeSlot(const std::string& line) {
    CK_ULONG count = 0;
    require(module->C_GetSlotList(CK_TRUE, nullptr, &count), line);
    std::vector<CK_SLOT_ID> slots(count);
    require(module->C_GetSlotList(CK_TRUE, slots.data(), &count), line);
    for (const CK_SLOT_ID slot : slots) {
        CK_TOKEN_INFO information = {};
        require(module->C_GetTokenInfo(slot, &information), line);
        if ((information.flags & CKF_TOKEN_INITIALIZED) == 0) {
            return slot;
        }
    }
    require(CKR_SLOT_ID_INVALID, line);
    return 0;
}

void makeToken(std::string label, const std::string& line) {
    if (session != CK_INVALID_HANDLE) {
        require(module->C_CloseSession(session), line);
    }
    const CK_SLOT_ID slot = freeSlot(line);
    label.resize(32, ' ');
    require(
        module->C_InitToken(slot, pin, sizeof pin, reinterpret_cast<CK_UTF8CHAR*>(label.data())),
        line);
    require(module->C_OpenSession(slot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr,
                                  &session),
            line);
    require(module->C_Login(session, CKU_SO, pin, sizeof pin), line);
    require(module->C_InitPIN(session, pin, sizeof pin), line);
    require(module->C_Logout(session), line);
    require(module->C_Login(session, CKU_USER, pin, sizeof pin), line);
}

CK_ATTRIBUTE attribute(CK_ATTRIBUTE_TYPE type, std::string& value) {
    return {type, value.data(), value.size()};
}

template <typename Value> CK_ATTRIBUTE attribute(CK_ATTRIBUTE_TYPE type, Value& value) {
    return {type, &value, sizeof value};
}

void create(std::vector<CK_ATTRIBUTE> attributes, const std::string& line) {
    CK_OBJECT_HANDLE object = 0;
    require(module->C_CreateObject(session, attributes.data(), attributes.size(), &object), line);
}

void makeObject(const std::string& kind, std::string identifier, const std::string& argument,
                const std::string& line) {
    std::string curve = "\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07";
    std::string point = "\x04\x41\x04" + std::string(64, 'p');
    std::string number(32, 'k');
    CK_KEY_TYPE keyType = CKK_EC;
    CK_CERTIFICATE_TYPE certificateType = CKC_X_509;
    CK_OBJECT_CLASS objectClass = kind == "certificate"   ? CKO_CERTIFICATE
                                  : kind == "private-key" ? CKO_PRIVATE_KEY
                                                          : CKO_PUBLIC_KEY;
    std::vector<CK_ATTRIBUTE> attributes = {attribute(CKA_CLASS, objectClass),
                                            attribute(CKA_TOKEN, yes),
                                            attribute(CKA_ID, identifier)};
    const auto add = [&attributes](CK_ATTRIBUTE one) { attributes.push_back(one); };
    if (kind == "certificate") {
        std::ifstream file(argument, std::ios::binary);
        std::string der((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        std::string subject = "\x30";
        subject += '\0';
        add(attribute(CKA_CERTIFICATE_TYPE, certificateType));
        add(attribute(CKA_SUBJECT, subject));
        add(attribute(CKA_VALUE, der));
        add(attribute(CKA_PRIVATE, no));
        create(attributes, line);
        return;
    }
    add(attribute(CKA_KEY_TYPE, keyType));
    add(attribute(CKA_EC_PARAMS, curve));
    add(attribute(CKA_PRIVATE, kind == "private-key" && argument == "hidden" ? yes : no));
    add(kind == "private-key" ? attribute(CKA_VALUE, number) : attribute(CKA_EC_POINT, point));
    create(attributes, line);
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        return 2;
    }
    module = p11_kit_module_load(arguments[1], 0);
    if (module == nullptr) {
        std::fprintf(stderr, "%s\n", p11_kit_message());
        return 1;
    }
    require(p11_kit_module_initialize(module), "C_Initialize");
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string kind;
        std::string name;
        std::string argument;
        words >> kind >> name >> argument;
        if (kind == "token") {
            makeToken(name, line);
        } else {
            makeObject(kind, name == "-" ? "" : name, argument, line);
        }
    }
    p11_kit_module_finalize(module);
    p11_kit_module_release(module);
    return 0;
}
