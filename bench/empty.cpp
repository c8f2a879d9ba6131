// The least that a program linked as cfm is can cost.
int main()
{
}
