// SPDX-License-Identifier: Apache-2.0
#include <p11-kit/pkcs11.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <unistd.h>

// A PKCS#11 module that does what VEL_MODULE_FAULT says when it is initialised.

namespace {

CK_RV initialize(void*) {
    const char* fault = std::getenv("VEL_MODULE_FAULT");
    if (fault != nullptr && std::strcmp(fault, "crash") == 0) {
        std::signal(SIGSEGV, SIG_DFL);
        ::raise(SIGSEGV);
    }
    if (fault != nullptr && std::strcmp(fault, "exit") == 0) {
        ::_exit(0);
    }
    if (fault != nullptr && std::strcmp(fault, "hang") == 0) {
        for (const int signal : {SIGTERM, SIGALRM, SIGINT, SIGHUP}) {
            std::signal(signal, SIG_IGN);
        }
        while (true) {
            ::pause();
        }
    }
    return CKR_DEVICE_ERROR;
}

CK_FUNCTION_LIST functions = {};

} // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    functions.version = {2, 40};
    functions.C_Initialize = initialize;
    functions.C_GetFunctionList = C_GetFunctionList;
    *list = &functions;
    return CKR_OK;
}
