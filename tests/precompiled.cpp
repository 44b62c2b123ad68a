// Nothing of its own: the headers that all tests share are compiled with it.
