#include "mth/Mth_stop_reason.h"

const char* Mth_StopReasonText(MTH_STOP_REASON reason) {
  switch (reason) {
    case MTH_STOP_REASON::NotRun:
      return "Aucun calcul n'a été fait.";
    case MTH_STOP_REASON::Converged:
      return "Le calcul a convergé.";
    case MTH_STOP_REASON::IterationCap:
      return "Le nombre maximal d'itérations a été atteint.";
    case MTH_STOP_REASON::Cancelled:
      return "Le calcul a été interrompu à la demande de l'utilisateur.";
    case MTH_STOP_REASON::NoMemory:
      return "La mémoire est insuffisante.";
    case MTH_STOP_REASON::BadInput:
      return "Les données d'entrée ne conviennent pas.";
    case MTH_STOP_REASON::NotFinite:
      return "Une valeur n'est pas un nombre fini.";
  }
  return "Cette raison d'arrêt n'existe pas.";
}
