bool HasStock();

int main() { return HasStock() ? 0 : 1; }
