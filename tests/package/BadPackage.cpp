// Packages with one fault each, which the build chooses.
#include <tessalune/tessalune.h>

#ifdef TAKES_A_NAME
namespace {
using namespace tessalune;
class TTaken final : public TLockComponent {
 public:
  using TLockComponent::TLockComponent;
  static const TPublishedTable& Published() {
    static const TPublishedTable Table({.Name = "TQSAbs"}, &TComponent::Published());
    return Table;
  }
  const TPublishedTable& PublishedTable() const override { return Published(); }
};
void Register() { RegisterComponents({ClassOf<TTaken>()}); }
}  // namespace
TESSALUNE_PACKAGE("Taken", {"Taken", &Register})
#else
extern "C" {
void Initialize() {}
#ifdef IS_NEWER
void Finalize() {}
#endif
const tessalune::TPackageInfoTable& GetPackageInfoTable() {
  static const tessalune::TPackageInfoTable Table{.Abi = "9.1"};
  return Table;
}
}
#endif
