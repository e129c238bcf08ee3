// What every program weighs.
int main()
{}
