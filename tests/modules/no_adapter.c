/* A module under an adapter's name that has no _IO_Init. */
int noAdapter;
