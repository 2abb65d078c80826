-- Counts for ever, or for as many microseconds as it is told, and then ends in error.
library ieee;
use ieee.std_logic_1164.all;
use std.textio.all;

entity counter is
  generic (last : natural := 0);
end entity;

architecture test of counter is
  signal clk   : std_logic := '0';
  signal count : integer range 0 to 1000 := 0;
begin
  clk <= not clk after 5 ns;

  process (clk)
  begin
    if rising_edge(clk) then
      count <= (count + 1) mod 1000;
    end if;
  end process;

  process
    variable text : line;
  begin
    wait for 1 us;
    write(text, string'("running"));
    writeline(output, text);
    flush(output);
    if last = 0 then
      wait;
    end if;
    wait for last * 1 us;
    report "failed" severity failure;
  end process;
end architecture;
