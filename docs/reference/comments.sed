# Shows Doxygen every comment of a header: the first is the file's, one at a line's end is of
# what stands before it, and any other of what follows.
1s|^// |/// \\file\n/// |
1s|^/\* |/** \\file\n * |
2,$s|^\( *\)/\* |\1/** |
s|^\( *\)// |\1/// |
s|\([;,0-9a-z]\)  *// |\1 ///< |
s|\([;,0-9a-z]\)  */\* |\1 /**< |
s|^\( \{8,\}\)/// |\1///< |
