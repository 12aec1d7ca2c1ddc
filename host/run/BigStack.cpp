#include "BigStack.h"

#include <pthread.h>

#include <exception>
#include <thread>

namespace tessalune::host {
namespace {

constexpr std::size_t UsualDepth = 500;  // components that the usual stack is good for
constexpr std::size_t BytesPerComponent = std::size_t{1} << 14;

}  // namespace

void OnBigStack(std::size_t AComponents, const std::function<void()>& AProc) {
  if (AComponents <= UsualDepth) return AProc();
  pthread_attr_t Attributes;
  pthread_attr_init(&Attributes);
  pthread_getattr_default_np(&Attributes);
  std::size_t Usual = 0;
  pthread_attr_getstacksize(&Attributes, &Usual);
  // Only what is used of it takes memory.
  pthread_attr_setstacksize(&Attributes, Usual + AComponents * BytesPerComponent);
  pthread_setattr_default_np(&Attributes);
  std::exception_ptr Error;
  std::thread Thread([&] {
    try {
      AProc();
    } catch (...) {
      Error = std::current_exception();
    }
  });
  Thread.join();
  pthread_attr_setstacksize(&Attributes, Usual);
  pthread_setattr_default_np(&Attributes);
  pthread_attr_destroy(&Attributes);
  if (Error) std::rethrow_exception(Error);
}

}  // namespace tessalune::host
