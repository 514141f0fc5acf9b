#pragma once

#include <exception>

namespace Brenk {

// Thrown by the gateway side on invalid arguments only; other failures are a return value and a log line.
//
// Thrown as a pointer to a new object, which belongs to the catcher:
//     catch (BrenkException* exception) { const std::unique_ptr<BrenkException> owner(exception); ... }
class BrenkException : public std::exception {
  public:
    // The fixed text of the kind of exception; valid for the life of the program.
    const char* what() const noexcept override { return text_; }

  protected:
    // `text` must be a literal: only the pointer is kept.
    explicit BrenkException(const char* text) : text_(text) {}

  private:
    const char* text_;
};

// A pointer that must be given is null.
class ArgumentNullException : public BrenkException {
  public:
    ArgumentNullException() : BrenkException("Argument null") {}
};

// An argument has a value that can never work, such as port 0.
class InvalidArgumentException : public BrenkException {
  public:
    InvalidArgumentException() : BrenkException("Invalid argument found") {}
};

// An object that must hold something is null or empty, such as a gateway's IP address.
class NullObjectException : public BrenkException {
  public:
    NullObjectException() : BrenkException("Null or empty object") {}
};

}  // namespace Brenk
