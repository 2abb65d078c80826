// A crossing: its lights change by a timer, and sooner when somebody waits.
`timescale 1ns/1ns
module lights(input wire clk, input wire waiting, output reg [1:0] light, output wire walk);
  localparam RED = 2'd0, GREEN = 2'd1, AMBER = 2'd2;
  reg [3:0] timer;
  assign walk = light == RED;
  initial begin
    light = RED;
    timer = 4'd3;
  end
  always @(posedge clk)
    if (timer != 0 && !(waiting && light == GREEN)) timer <= timer - 4'd1;
    else begin
      light <= light == RED ? GREEN : light == GREEN ? AMBER : RED;
      timer <= light == RED ? 4'd12 : light == GREEN ? 4'd2 : 4'd6;
    end
endmodule

module crossing;
  reg clk = 0;
  reg waiting = 0;
  wire [1:0] light;
  wire walk;
  lights north(.clk(clk), .waiting(waiting), .light(light), .walk(walk));
  always #5 clk = ~clk;
  initial begin
    #170 waiting = 1;
    #40 waiting = 0;
    #790 $finish;
  end
endmodule
