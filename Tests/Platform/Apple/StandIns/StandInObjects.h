// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <vector>

/// Objects with counted references, and calls that can be made to fail: what the stand-ins for the
/// Mac's services have in common. What would crash on a Mac ends the program with a message.
namespace standin {

[[noreturn]] void abortOn(const std::string& what);

/// What a reference refers to. A class of it for each type of CoreFoundation and of the services.
class Object {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    /// The type's name, for messages and as its identity.
    [[nodiscard]] virtual const char* type() const = 0;

    /// Whether it equals another object of the same type.
    [[nodiscard]] virtual bool equals(const Object& other) const { return this == &other; }
};

/// A new object; the caller owns the one reference to it.
CFTypeRef make(std::unique_ptr<Object> object);

/// The same for an object of this type, as the reference that the service hands out.
template <typename Reference, typename Type, typename... Arguments>
Reference makeReference(Arguments&&... arguments) {
    return static_cast<Reference>(
        const_cast<void*>(make(std::make_unique<Type>(std::forward<Arguments>(arguments)...))));
}

/// An object that lives as long as the program. Its references are counted all the same.
CFTypeRef makeConstant(std::unique_ptr<Object> object);

/// What is behind a reference. Aborts for NULL and for an object that is dead.
Object& objectOf(CFTypeRef reference);

/// The same for an object of the type `Type`. Aborts for one of another type.
template <typename Type> Type& contentOf(CFTypeRef reference) {
    Object& object = objectOf(reference);
    auto* content = dynamic_cast<Type*>(&object);
    if (content == nullptr) {
        abortOn(std::string("a ") + object.type() + " where a " + Type::name + " belongs");
    }
    return *content;
}

template <typename Type> CFTypeID typeID() {
    return reinterpret_cast<CFTypeID>(Type::name);
}

/// The types of the objects that are alive, in the order of the alphabet. A constant that is
/// retained counts.
std::vector<std::string> liveObjects();

/// How a call is made to fail: by the answer documented for a failure, or, of a call that answers a
/// status beside a result, by success without a result.
enum class Failure { documented, successWithoutResult };

/// Makes the call with the number `call` (from 1), counted from now on, fail. 0: none fails.
void failCall(unsigned call, Failure failure = Failure::documented);

/// A call that could have failed, and in which ways.
struct CallMade {
    std::string name;
    std::vector<Failure> failures;
};

/// Those since `failCall`.
std::vector<CallMade> callsMade();

/// A call of a service that may fail, while it lasts. The calls that a stand-in itself makes
/// meanwhile are not counted and do not fail.
class FallibleCall {
public:
    explicit FallibleCall(const char* name, std::vector<Failure> failures = {Failure::documented});
    FallibleCall(const FallibleCall&) = delete;
    FallibleCall& operator=(const FallibleCall&) = delete;
    ~FallibleCall();

    [[nodiscard]] bool fails() const { return _fails; }
    [[nodiscard]] bool failsWithoutStatus() const;

private:
    bool _fails = false;
};

/// The ways to fail of a call that answers a status beside a result.
inline const std::vector<Failure> withStatus = {Failure::documented, Failure::successWithoutResult};

} // namespace standin
