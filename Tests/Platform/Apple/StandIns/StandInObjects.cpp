// SPDX-License-Identifier: Apache-2.0
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <set>
#include <utility>

namespace standin {
namespace {

/// An object's place. Its address is the reference and is not used again, so that a reference to a
/// dead object is known for what it is.
struct Place {
    std::unique_ptr<Object> object;
    std::string type;
    bool isConstant = false;
    long references = 1;
};

class Places {
public:
    static Places& ofProgram() {
        static auto* const places = new Places; // outlives whatever may still refer to it
        return *places;
    }

    CFTypeRef add(std::unique_ptr<Object> object, bool isConstant) {
        const std::scoped_lock lock(_mutex);
        auto place = std::make_unique<Place>();
        place->type = object->type();
        place->object = std::move(object);
        place->isConstant = isConstant;
        const CFTypeRef reference = place.get();
        note(*_all.emplace(reference, std::move(place)).first->second);
        return reference;
    }

    Object& object(CFTypeRef reference) {
        const std::scoped_lock lock(_mutex);
        return *living(reference, "use").object;
    }

    void retain(CFTypeRef reference) {
        const std::scoped_lock lock(_mutex);
        Place& place = living(reference, "retain");
        ++place.references;
        note(place);
    }

    void release(CFTypeRef reference) {
        std::unique_ptr<Object> last; // destroyed without the lock: it may release others
        const std::scoped_lock lock(_mutex);
        Place& place = living(reference, "release");
        if (place.isConstant && place.references == 1) {
            abortOn("release of a constant " + place.type);
        }
        if (--place.references == 0) {
            last = std::move(place.object);
        }
        note(place);
    }

    std::vector<std::string> live() {
        const std::scoped_lock lock(_mutex);
        std::vector<std::string> types;
        for (const Place* place : _live) {
            types.push_back(place->type);
        }
        std::ranges::sort(types);
        return types;
    }

private:
    Place& living(CFTypeRef reference, const char* what) {
        if (reference == nullptr) {
            abortOn(std::string(what) + " of NULL");
        }
        const auto found = _all.find(reference);
        if (found == _all.end()) {
            abortOn(std::string(what) + " of what is no object");
        }
        if (found->second->references == 0) {
            abortOn(std::string(what) + " of a dead " + found->second->type);
        }
        return *found->second;
    }

    /// Keeps the list of what is alive.
    void note(const Place& place) {
        if (place.references == (place.isConstant ? 1 : 0)) {
            _live.erase(&place);
        } else {
            _live.insert(&place);
        }
    }

    std::mutex _mutex;
    std::map<CFTypeRef, std::unique_ptr<Place>> _all;
    std::set<const Place*> _live;
};

std::mutex callsMutex;
std::vector<CallMade> calls;
unsigned callToFail = 0;
Failure howToFail = Failure::documented;
thread_local int callDepth = 0;

} // namespace

void abortOn(const std::string& what) {
    std::fprintf(stderr, "stand-in: %s\n", what.c_str());
    std::abort();
}

CFTypeRef make(std::unique_ptr<Object> object) {
    return Places::ofProgram().add(std::move(object), false);
}

CFTypeRef makeConstant(std::unique_ptr<Object> object) {
    return Places::ofProgram().add(std::move(object), true);
}

Object& objectOf(CFTypeRef reference) {
    return Places::ofProgram().object(reference);
}

std::vector<std::string> liveObjects() {
    return Places::ofProgram().live();
}

void failCall(unsigned call, Failure failure) {
    const std::scoped_lock lock(callsMutex);
    calls.clear();
    callToFail = call;
    howToFail = failure;
}

std::vector<CallMade> callsMade() {
    const std::scoped_lock lock(callsMutex);
    return calls;
}

FallibleCall::FallibleCall(const char* name, std::vector<Failure> failures) {
    if (callDepth++ == 0) {
        const std::scoped_lock lock(callsMutex);
        calls.push_back({name, std::move(failures)});
        _fails = calls.size() == callToFail;
    }
}

FallibleCall::~FallibleCall() {
    --callDepth;
}

bool FallibleCall::failsWithoutStatus() const {
    return _fails && howToFail == Failure::successWithoutResult;
}

} // namespace standin

extern "C" {

CFTypeRef CFRetain(CFTypeRef object) {
    standin::Places::ofProgram().retain(object);
    return object;
}

void CFRelease(CFTypeRef object) {
    standin::Places::ofProgram().release(object);
}

} // extern "C"
