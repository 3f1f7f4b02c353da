// SPDX-License-Identifier: Apache-2.0
#include <p11-kit/pkcs11.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <unistd.h>

// A PKCS#11 module that does what VEL_MODULE_FAULT says when it is initialised:
//
//     crash, exit, hang    ends, or never comes back
//     chat                 prints a line to standard output; it has no token
//     linger               leaves a program running that keeps standard output; it has no token
//     large                has a token with 100 certificates of a million bytes
//     sensitive            has a token that tells nothing of what it holds
//     removed, unknown     has a token that is taken out, or found to be of no known kind, after
//                          it was counted
//     anything else        fails

namespace {

constexpr CK_ULONG certificateCount = 100;
constexpr CK_ULONG certificateSize = 1'000'000;
bool hasToken = false;
bool isSensitive = false; // it tells nothing of its objects
constexpr CK_SLOT_ID onlySlot = 5;
CK_RV tokenResult = CKR_OK; // of the question about the token
CK_ULONG searched = 0;

void leaveProgramRunning() {
    if (::fork() == 0) {
        ::execl("/bin/sleep", "sleep", "6", nullptr);
        ::_exit(1);
    }
}

CK_RV initialize(void*) {
    const char* variable = std::getenv("VEL_MODULE_FAULT");
    const std::string_view fault = variable != nullptr ? variable : "fail";
    if (fault == "crash") {
        std::signal(SIGSEGV, SIG_DFL);
        ::raise(SIGSEGV);
    }
    if (fault == "exit") {
        ::_exit(0);
    }
    if (fault == "hang") {
        for (const int signal : {SIGTERM, SIGALRM, SIGINT, SIGHUP}) {
            std::signal(signal, SIG_IGN);
        }
        while (true) {
            ::pause();
        }
    }
    if (fault == "chat") {
        constexpr std::string_view line = "module loaded\n";
        return ::write(STDOUT_FILENO, line.data(), line.size()) > 0 ? CKR_OK : CKR_DEVICE_ERROR;
    }
    if (fault == "linger") {
        leaveProgramRunning();
        return CKR_OK;
    }
    isSensitive = fault == "sensitive";
    tokenResult = fault == "removed"   ? CKR_TOKEN_NOT_PRESENT
                  : fault == "unknown" ? CKR_TOKEN_NOT_RECOGNIZED
                                       : CKR_OK;
    hasToken = isSensitive || fault == "large" || tokenResult != CKR_OK;
    return hasToken ? CKR_OK : CKR_DEVICE_ERROR;
}

CK_RV finalize(void*) {
    return CKR_OK;
}

/// Says at first that there is one more than there is.
CK_RV getSlotList(CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* count) {
    if (slots != nullptr && hasToken) {
        slots[0] = onlySlot;
    }
    *count = (hasToken ? 1 : 0) + (slots == nullptr ? 1 : 0);
    return CKR_OK;
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* information) {
    if (slot != onlySlot || tokenResult != CKR_OK) {
        return slot != onlySlot ? CKR_SLOT_ID_INVALID : tokenResult;
    }
    *information = {};
    information->flags = CKF_TOKEN_INITIALIZED;
    return CKR_OK;
}

CK_RV openSession(CK_SLOT_ID, CK_FLAGS, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
    *session = 1;
    return CKR_OK;
}

CK_RV closeSession(CK_SESSION_HANDLE) {
    return CKR_OK;
}

CK_RV findObjectsInit(CK_SESSION_HANDLE, CK_ATTRIBUTE* pattern, CK_ULONG) {
    CK_OBJECT_CLASS objectClass = 0;
    std::memcpy(&objectClass, pattern->pValue, sizeof objectClass);
    searched = objectClass == CKO_CERTIFICATE ? 0 : certificateCount;
    return CKR_OK;
}

CK_RV findObjects(CK_SESSION_HANDLE, CK_OBJECT_HANDLE* objects, CK_ULONG limit, CK_ULONG* count) {
    for (*count = 0; *count < limit && searched < certificateCount; ++*count) {
        objects[*count] = ++searched;
    }
    return CKR_OK;
}

CK_RV findObjectsFinal(CK_SESSION_HANDLE) {
    return CKR_OK;
}

CK_RV getAttributeValue(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE* attribute, CK_ULONG) {
    if (isSensitive) {
        attribute->ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CKR_ATTRIBUTE_SENSITIVE;
    }
    attribute->ulValueLen = attribute->type == CKA_VALUE ? certificateSize : 1;
    if (attribute->pValue != nullptr) {
        std::memset(attribute->pValue, 'x', attribute->ulValueLen);
    }
    return CKR_OK;
}

CK_FUNCTION_LIST functions = {};

} // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    functions.version = {2, 40};
    functions.C_Initialize = initialize;
    functions.C_Finalize = finalize;
    functions.C_GetFunctionList = C_GetFunctionList;
    functions.C_GetSlotList = getSlotList;
    functions.C_GetTokenInfo = getTokenInfo;
    functions.C_OpenSession = openSession;
    functions.C_CloseSession = closeSession;
    functions.C_FindObjectsInit = findObjectsInit;
    functions.C_FindObjects = findObjects;
    functions.C_FindObjectsFinal = findObjectsFinal;
    functions.C_GetAttributeValue = getAttributeValue;
    *list = &functions;
    return CKR_OK;
}
