#include "mth/matrix/Mth_matrix.h"

// The sentences of the status codes.

const char* Mth_StatusText(int status) {
  switch (status) {
    case 0:
      return "";
    case 1:
      return "La matrice n'est pas allouée, ou la mémoire manque.";
    case 2:
      return "Un indice est hors des limites de la matrice.";
    case 3:
      return "Un argument manque.";
    case 4:
      return "Les dimensions des matrices ne conviennent pas.";
    case 5:
      return "La décomposition a échoué.";
    case 6:
      return "Le système est singulier.";
    case 7:
      return "La matrice n'a pas de déterminant.";
    case 8:
      return "Un élément est négatif : il n'a pas de racine carrée.";
    case 9:
      return "La matrice n'est pas inversible, ou l'équation n'a pas la solution demandée.";
    case 10:
      return "La solution risque d'être instable.";
    case 11:
      return "La recherche d'un vecteur propre a échoué.";
    case 12:
      return "Le fichier ne peut pas être créé ou écrit.";
    case 13:
      return "Le fichier ne peut pas être ouvert.";
    case 14:
      return "Le type des éléments est inconnu, ou diffère entre les matrices.";
    case 16:
      return "Une ligne de la matrice est nulle.";
    case 17:
      return "La décomposition en valeurs singulières ne converge pas.";
    default:
      return "Ce code d'état n'existe pas.";
  }
}
