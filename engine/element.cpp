// placeholder until the element tree lands
