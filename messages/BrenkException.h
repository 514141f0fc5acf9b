#pragma once

#include <exception>

namespace Brenk {

// What the gateway side throws when it is handed something it cannot work with, and for nothing else: other
// failures are a return value and a log line.
//
// Thrown as a pointer to a new object, which belongs to whoever catches it:
//     catch (BrenkException* exception) { const std::unique_ptr<BrenkException> owner(exception); ... }
class BrenkException : public std::exception {
  public:
    // The fixed text of the kind of exception; valid for the life of the program.
    const char* what() const noexcept override;

  protected:
    // `text` must be a literal: only the pointer is kept.
    explicit BrenkException(const char* text);

  private:
    const char* text_;
};

}  // namespace Brenk
