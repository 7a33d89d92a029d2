#include "fuzz/fuzz.h"

#include <algorithm>

namespace mth_fuzz {

int DocumentedMessages::ShowMessage(const std::string& text, MessageKind, const std::string&) {
  static constexpr const char* kDocumented[] = {"Pas de convergence après ",
                                                "Matrice non inversible",
                                                "Risque d'instabilité de la solution",
                                                "MTH_CLUSTERING",
                                                "Mth_GenerateSubsets",
                                                "Erreur : ",
                                                "La fonction GetFirstDerivative",
                                                "Nombre de points de lissage",
                                                "dex",
                                                "Augmenter nstack",
                                                "Problème dans",
                                                "La matrice d'entrée est nulle!",
                                                "Matrice d'entrée est nulle!",
                                                "Erreur dans les matrices d'entrées!",
                                                "L'apprentissage n'a pas été fait!",
                                                "Arguments Invalides dans la routine",
                                                "X est inférieur à 0",
                                                "a est très grand",
                                                "x non adapté dans"};
  const bool isDocumented = std::any_of(std::begin(kDocumented), std::end(kDocumented),
                                        [&](const char* begin) { return text.starts_with(begin); });
  if (!isDocumented) std::fprintf(stderr, "message: %s\n", text.c_str());
  Require(isDocumented);
  return 1;
}

}  // namespace mth_fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  const mth_fuzz::DocumentedMessages display;
  mth_fuzz::TryInput(bytes, count);
  return 0;
}
