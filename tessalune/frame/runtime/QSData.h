// Packets of data.
#pragma once

#include <tessalune/frame/runtime/QSMemory.h>
#include <tessalune/frame/runtime/QSReference.h>
#include <tessalune/frame/runtime/QSSerialization.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace tessalune {

class IQSDataBuffer;

// A reference-counted packet of data on its way through the graph.
class IQSData : public IInterface, public TRecycled {
 public:
  // Another packet of the same content, custom objects included: a reference to the content until
  // somebody writes to either.
  virtual TRef<IQSData> MakeCopy() const = 0;
  // The packet as a block of samples; null if it is none.
  virtual IQSDataBuffer* AsDataBuffer() noexcept { return nullptr; }

  // What an event that carries the packet says of it: a block's type and count of samples.
  virtual TPropertyRecord PropertyValue() const { return {}; }

  // Objects of the host's own that travel with the packet. Add them before the packet is sent.
  void AddCustom(TRef<IInterface> AObject) { FCustom.push_back(std::move(AObject)); }
  std::size_t GetCustomCount() const { return FCustom.size(); }
  const TRef<IInterface>& GetCustom(std::size_t AIndex) const { return FCustom.at(AIndex); }

 protected:
  void CopyCustom(const IQSData& ASource) {
    if (!ASource.FCustom.empty()) FCustom = ASource.FCustom;
  }

 private:
  std::vector<TRef<IInterface>> FCustom;
};

}  // namespace tessalune
