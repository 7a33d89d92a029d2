// Nothing: it stands for the headers that are compiled beside it.
